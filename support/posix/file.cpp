#include "support/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

/// Repeats a write that was cut short, by a signal or otherwise.
void writeAll(int file, const char* bytes, std::size_t count) noexcept
{
    while (count > 0) {
        const ssize_t written = ::write(file, bytes, count);
        if (written == 0 || (written < 0 && errno != EINTR)) {
            return;
        }
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
}

} // namespace

bool appendToFile(const std::string& path, const char* bytes, std::size_t count) noexcept
{
    int file = -1;
    do {
        file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, readAndWriteForAll);
    } while (file < 0 && errno == EINTR);
    if (file < 0) {
        return false;
    }
    writeAll(file, bytes, count);
    ::close(file);
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

} // namespace tolvane
