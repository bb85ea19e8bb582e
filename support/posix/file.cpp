#include "support/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

/// Repeats a write that was cut short, by a signal or otherwise.
/// \return how many bytes were written.
std::size_t writeAll(int file, const char* bytes, std::size_t count) noexcept
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = ::write(file, bytes + done, count - done);
        if (written == 0 || (written < 0 && errno != EINTR)) {
            break;
        }
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        }
    }
    return done;
}

} // namespace

Appended appendToFile(const std::string& path, const char* bytes, std::size_t count) noexcept
{
    int file = -1;
    do {
        file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, readAndWriteForAll);
    } while (file < 0 && errno == EINTR);
    if (file < 0) {
        return {};
    }
    const std::size_t written = writeAll(file, bytes, count);
    ::close(file);
    return {true, written};
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

} // namespace tolvane
