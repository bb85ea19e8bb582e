#include "support/writesignals.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace tolvane {

namespace {

/// They are sent to the thread that writes, and wait for it while it blocks them.
constexpr int signals[] = {SIGPIPE, SIGXFSZ};

/// \return a bit for each signal that is in the set.
unsigned int bitsOf(const sigset_t& set) noexcept
{
    unsigned int bits = 0;
    unsigned int bit = 1;
    for (const int signal : signals) {
        bits |= sigismember(&set, signal) == 1 ? bit : 0;
        bit <<= 1;
    }
    return bits;
}

sigset_t setOf(unsigned int bits) noexcept
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        if ((bits & 1) != 0) {
            sigaddset(&set, signal);
        }
        bits >>= 1;
    }
    return set;
}

unsigned int pending() noexcept
{
    sigset_t set;
    sigemptyset(&set);
    sigpending(&set);
    return bitsOf(set);
}

constexpr unsigned int all = (1U << (sizeof signals / sizeof *signals)) - 1;

/// As the system tells of a signal that comes from a write, which is sent to the thread and taken
/// before one that was sent to the process.
bool isOfWrite(const siginfo_t& signal) noexcept
{
    return signal.si_code == SI_USER && signal.si_pid == getpid();
}

/// Takes signals away that have come meanwhile. One that somebody else sent goes on to the process.
void take(unsigned int bits) noexcept
{
    const timespec atOnce = {};
    while (bits != 0) {
        const sigset_t set = setOf(bits);
        siginfo_t taken;
        const int signal = sigtimedwait(&set, &taken, &atOnce);
        if (signal < 0) {
            if (errno == EINTR) {
                continue;
            }
            return; // another thread was quicker: it was none of a write
        }
        sigset_t done;
        sigemptyset(&done);
        sigaddset(&done, signal);
        bits &= ~bitsOf(done);
        if (!isOfWrite(taken)) {
            kill(getpid(), signal);
        }
    }
}

} // namespace

WriteSignals::WriteSignals() noexcept
{
    const int error = errno;
    const sigset_t blocked = setOf(all);
    sigset_t before;
    sigemptyset(&before);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    m_blockedBefore = bitsOf(before);
    m_pendingBefore = pending();
    errno = error;
}

WriteSignals::~WriteSignals()
{
    const int error = errno;
    take(pending() & ~m_pendingBefore);
    const sigset_t unblocked = setOf(all & ~m_blockedBefore);
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    errno = error;
}

} // namespace tolvane
