#include "support/file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

/// Repeats a write that was cut short, by a signal or otherwise.
bool writeAll(int file, const char* bytes, std::size_t count) noexcept
{
    while (count > 0) {
        const ssize_t written = ::write(file, bytes, count);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
    return true;
}

} // namespace

bool appendToFile(const std::string& path, const std::string& bytes) noexcept
{
    int file = -1;
    do {
        file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, readAndWriteForAll);
    } while (file < 0 && errno == EINTR);
    if (file < 0) {
        return false;
    }
    const bool ok = writeAll(file, bytes.data(), bytes.size());
    ::close(file);
    return ok;
}

} // namespace tolvane
