#include "trace/sinklock.h"

#include "support/clock.h"
#include "support/threadid.h"

#include <new>

namespace {

/// Milliseconds, and so many pauses of at most one: a line is not to wait longer for a sink.
constexpr unsigned long long longestForeignCall = 2;
constexpr int fewestPauses = 2;

/// Milliseconds. A holder that was not scheduled for so long, or whose file takes so long, has
/// stopped.
constexpr unsigned long long longestStandstill = 1000;

} // namespace

bool sinklock::tryEnter(bool onlyWrites) noexcept
{
    if (isMine()) {
        ++m_depth;
        return true;
    }
    if (onlyWrites && m_claims.load(std::memory_order_relaxed) != 0) {
        return false;
    }
    if (!m_mutex.impl() || !m_mutex.impl()->tryLock()) {
        return false;
    }
    m_owner.store(tolvane::currentThreadId(), std::memory_order_relaxed);
    m_depth = 1;
    return true;
}

void sinklock::leave() noexcept
{
    if (--m_depth != 0) {
        return;
    }
    m_owner.store(0, std::memory_order_relaxed);
    m_progress.move();
    if (m_mutex.impl()) {
        m_mutex.impl()->unlock();
    }
    // a thread that is about to wait and is not seen here misses this return, and tries again soon
    if (m_waiting.load() != 0) {
        m_returned.set();
    }
}

void sinklock::abandon() noexcept
{
    m_progress.endCall();
    m_depth = 1;
    leave();
}

void sinklock::adopt() noexcept
{
    m_owner.store(tolvane::currentThreadId(), std::memory_order_relaxed);
    if (m_mutex.impl()) {
        m_mutex.impl()->adopt();
    }
    m_claims.store(0, std::memory_order_relaxed);
    m_waiting.store(0, std::memory_order_relaxed);
    m_progress.noteFork();
    new (&m_returned) tolvane::AutoResetEvent; // threads that are gone may have been in it
}

void sinklock::waitForReturn() noexcept
{
    ++m_waiting;
    tolvane::Clock::current().wait(m_returned, 1);
    --m_waiting;
}

bool sinklock::isMine() const noexcept
{
    return m_owner.load(std::memory_order_relaxed) == tolvane::currentThreadId();
}

patience::patience(const passprogress& progress) noexcept : m_progress(progress)
{
    beginAnew();
}

void patience::beginAnew() noexcept
{
    m_moves = m_progress.moves();
    m_start = tolvane::Clock::current().monotonicMilliseconds();
    m_looks = 0;
}

bool patience::lasts() noexcept
{
    if (m_progress.moves() != m_moves) {
        beginAnew();
    }
    const unsigned long long waited = tolvane::Clock::current().monotonicMilliseconds() - m_start;
    if (m_progress.isInForeignCall()) {
        return m_looks++ < fewestPauses || waited < longestForeignCall;
    }
    return waited < longestStandstill;
}
