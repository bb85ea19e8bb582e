#include "support/criticalsection.h"

#include "support/coldpath.h"
#include "support/threadid.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

namespace tolvane {

namespace {

/// A recursive lock whose usual case is compiled into its callers. The system's own would be a
/// third of all instructions that it takes to queue a line.
class recursivelock
{
public:
    bool tryEnter() noexcept
    {
        const unsigned int self = currentThreadId();
        // what another thread stores here meanwhile is not this thread's number
        if (m_owner.load(std::memory_order_relaxed) == self) {
            ++m_depth;
            return true;
        }
        int expected = isFree;
        if (!m_state.compare_exchange_strong(expected, isHeld, std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
            return false;
        }
        m_owner.store(self, std::memory_order_relaxed);
        return true;
    }

    void enter() noexcept
    {
        if (!tryEnter()) {
            wait();
        }
    }

    void leave() noexcept
    {
        if (m_depth != 0) {
            --m_depth;
            return;
        }
        m_owner.store(0, std::memory_order_relaxed);
        if (m_state.exchange(isFree, std::memory_order_release) == isAwaited) {
            wake();
        }
    }

    bool isMine() const noexcept
    {
        return m_owner.load(std::memory_order_relaxed) == currentThreadId();
    }

    void adopt() noexcept
    {
        m_owner.store(currentThreadId(), std::memory_order_relaxed);
        m_state.store(isHeld, std::memory_order_relaxed);
    }

private:
    /// The lock is held for fractions of a microsecond, most of the time, so that trying again
    /// beats sleeping.
    TOLVANE_COLD void wait() noexcept
    {
        constexpr int triesBeforeSleep = 300;
        for (int tries = 0; tries < triesBeforeSleep; ++tries) {
            __builtin_ia32_pause();
            if (m_state.load(std::memory_order_relaxed) == isFree && tryEnter()) {
                return;
            }
        }
        const int callersErrno = errno;
        // whoever has slept leaves the lock marked: others may sleep still
        while (m_state.exchange(isAwaited, std::memory_order_acquire) != isFree) {
            syscall(SYS_futex, &m_state, FUTEX_WAIT_PRIVATE, isAwaited, nullptr, nullptr, 0);
        }
        errno = callersErrno; // of a wait that had nothing to wait for any more
        m_owner.store(currentThreadId(), std::memory_order_relaxed);
    }

    TOLVANE_COLD void wake() noexcept
    {
        syscall(SYS_futex, &m_state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }

    enum state : int
    {
        isFree,
        isHeld,
        isAwaited, ///< held, and a thread may be asleep until it is free
    };

    std::atomic<int> m_state{isFree};
    std::atomic<unsigned int> m_owner{0}; ///< number of the thread that holds it
    unsigned int m_depth = 0;             ///< how often that thread has entered it again
};

recursivelock& native(unsigned char* resource) noexcept
{
    return *std::launder(reinterpret_cast<recursivelock*>(resource));
}

} // namespace

CriticalSection::CriticalSection()
{
    static_assert(sizeof(recursivelock) <= resourceSize);
    new (m_resource) recursivelock;
}

CriticalSection::~CriticalSection()
{
    native(m_resource).~recursivelock();
}

void CriticalSection::enter() noexcept
{
    native(m_resource).enter();
}

bool CriticalSection::tryEnter() noexcept
{
    return native(m_resource).tryEnter();
}

void CriticalSection::leave() noexcept
{
    native(m_resource).leave();
}

bool CriticalSection::isMine() const noexcept
{
    return std::launder(reinterpret_cast<const recursivelock*>(m_resource))->isMine();
}

void CriticalSection::adopt() noexcept
{
    native(m_resource).adopt();
}

} // namespace tolvane
