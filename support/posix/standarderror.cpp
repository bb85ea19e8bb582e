#include "support/standarderror.h"

#include "support/writesignals.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace tolvane {

namespace {

constexpr int longestWait = 1000; ///< milliseconds

/// A pipe that is ready takes so many bytes without waiting.
constexpr std::size_t mostAtOnce = PIPE_BUF;

/// Nobody has read from it for long: it is not waited for again before it is.
std::atomic<bool> isStuck{false};

bool isReady(int file) noexcept
{
    pollfd waiting = {file, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, isStuck ? 0 : longestWait);
    } while (ready < 0 && errno == EINTR);
    isStuck = ready == 0;
    return ready > 0 && (waiting.revents & POLLOUT) != 0;
}

} // namespace

void writeStandardError(const char* bytes, std::size_t count) noexcept
{
    const WriteSignals noSignals;
    while (count != 0 && isReady(STDERR_FILENO)) {
        const ssize_t written = ::write(STDERR_FILENO, bytes, std::min(count, mostAtOnce));
        if (written < 0 && errno != EINTR) {
            return;
        }
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
}

} // namespace tolvane
