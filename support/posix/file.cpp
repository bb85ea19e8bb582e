#include "support/appendedfile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

/// For somebody who reads at the other end of a pipe. Threads that want to write, too, wait for
/// longer than that before they drop their lines.
constexpr std::chrono::milliseconds longestWait{500};

using steadyclock = std::chrono::steady_clock;

int open(const std::string& path, int more) noexcept
{
    int file = -1;
    do {
        file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | more,
                      readAndWriteForAll);
    } while (file < 0 && errno == EINTR);
    return file;
}

/// Waits until a file takes bytes.
/// \return false when the time was up.
bool waitForRoom(int file, steadyclock::time_point deadline) noexcept
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steadyclock::now());
    if (left.count() <= 0) {
        return false;
    }
    pollfd watched = {file, POLLOUT, 0};
    const int ready = ::poll(&watched, 1, static_cast<int>(left.count()));
    return ready > 0 || (ready < 0 && errno == EINTR);
}

} // namespace

/// A pipe without a reader is refused at once by an opening that does not wait. One that would have
/// to wait for a lease on a regular file is given up after some time by the system, so it may.
AppendedFile::AppendedFile(const std::string& path, bool mayWait) noexcept
    : m_file(open(path, O_NONBLOCK)), m_mayWait(mayWait)
{
    if (m_file < 0 && errno == EWOULDBLOCK) {
        m_file = open(path, 0);
    }
    m_error = m_file < 0 ? errno : 0;
}

AppendedFile::~AppendedFile()
{
    if (isOpen()) {
        ::close(static_cast<int>(m_file));
    }
}

bool AppendedFile::isOpen() const noexcept
{
    return m_file >= 0;
}

/// Repeats a write that was cut short, by a signal or otherwise.
std::size_t AppendedFile::write(const char* bytes, std::size_t count) noexcept
{
    const int file = static_cast<int>(m_file);
    std::size_t done = 0;
    steadyclock::time_point deadline;
    while (done < count) {
        const ssize_t written = ::write(file, bytes + done, count - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
            deadline = {}; // whoever reads gets on
        } else if (written < 0 && errno == EAGAIN) {
            const bool isFirst = deadline == steadyclock::time_point();
            deadline = isFirst ? steadyclock::now() + longestWait : deadline;
            m_isStuck = !m_mayWait || !waitForRoom(file, deadline);
            if (m_isStuck) {
                m_error = EAGAIN;
                break;
            }
        } else if (written == 0 || errno != EINTR) {
            m_error = written == 0 ? ENOSPC : errno;
            break;
        }
    }
    return done;
}

/// The file may still grow between the look at its size and the cut, by somebody who found room
/// where there was none a moment ago.
bool AppendedFile::cut(std::size_t count) const noexcept
{
    const int file = static_cast<int>(m_file);
    const off_t writtenUpTo = ::lseek(file, 0, SEEK_CUR);
    struct stat found;
    return writtenUpTo >= static_cast<off_t>(count) && ::fstat(file, &found) == 0 &&
           found.st_size == writtenUpTo &&
           ::ftruncate(file, writtenUpTo - static_cast<off_t>(count)) == 0;
}

bool AppendedFile::end(FileEnd& end) const noexcept
{
    struct stat found;
    if (::fstat(static_cast<int>(m_file), &found) != 0) {
        return false;
    }
    end.file.volume = found.st_dev;
    end.file.number = found.st_ino;
    end.size = S_ISREG(found.st_mode) ? static_cast<unsigned long long>(found.st_size) : 0;
    return true;
}

bool identify(const std::string& path, FileIdentity& identity) noexcept
{
    struct stat found;
    if (::stat(path.c_str(), &found) != 0) {
        return false;
    }
    identity.volume = found.st_dev;
    identity.number = found.st_ino;
    return true;
}

namespace {

/// Closes it at the end of a block, also when memory is out.
struct OpenFile
{
    ~OpenFile()
    {
        if (number >= 0) {
            ::close(number);
        }
    }

    const int number;
};

bool isRegular(int file) noexcept
{
    struct stat found;
    return ::fstat(file, &found) == 0 && S_ISREG(found.st_mode);
}

} // namespace

bool readFile(const std::string& path, std::size_t most, std::string& bytes)
{
    const OpenFile file = {::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (file.number < 0 || !isRegular(file.number)) {
        return false;
    }
    bytes.clear();
    char piece[4096];
    ssize_t count = 0;
    do {
        count = ::read(file.number, piece, sizeof piece);
        if (count > 0) {
            bytes.append(piece, static_cast<std::size_t>(count));
        }
    } while ((count > 0 && bytes.size() <= most) || (count < 0 && errno == EINTR));
    return count == 0;
}

} // namespace tolvane
