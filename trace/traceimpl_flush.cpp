#include "trace/traceimpl.h"

#include "support/clock.h"
#include "support/nocancellation.h"
#include "trace/faultpoint.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"

#include <algorithm>
#include <utility>

// How threads have what waits written, or wait until it is.

namespace {

constexpr unsigned long long budgetPerRetry = 10; ///< milliseconds
constexpr unsigned int retryPause = 10;           ///< milliseconds
constexpr unsigned long long longestWait =
    0xFFFFFFFE; ///< milliseconds; the largest that is not "without limit"

/// Milliseconds between two looks whether all is written.
constexpr unsigned int syncPause = 1;

using eventlock = tolvane::Auto_Lock<tolvane::UntypedEvent::UntypedEventImpl>;

} // namespace

void traceimpl::signalWritten()
{
    faultpoint::reach(faultpoint::signallingFlush);
    const eventlock lock(m_written.impl());
    m_written.value = true;
    m_written.impl()->signalLocked();
}

bool traceimpl::flushQueue(unsigned long long milliseconds)
{
    const tolvane::NoCancellation noCancellation;
    if (m_sinkLock.isMine() || insidelibrary::isEntered()) {
        return false;
    }
    {
        const eventlock lock(m_written.impl());
        m_written.value = false;
    }
    if (milliseconds != 0) {
        return waitForPass(milliseconds);
    }
    if (const std::exception_ptr fault = pass(passkind::full)) {
        std::rethrow_exception(fault);
    }
    return true;
}

/// The value was cleared once, before: a pass that ends during the pause counts. Signals of earlier
/// passes, for which nobody waited, end a wait at once and leave the value false.
bool traceimpl::waitForPass(unsigned long long budget)
{
    while (m_running) {
        bool timedOut = false;
        {
            const eventlock lock(m_written.impl());
            m_written.impl()->wait(true, &timedOut,
                                   static_cast<unsigned int>(std::min(budget, longestWait)));
            if (m_written.value) {
                return true;
            }
        }
        if (!timedOut) {
            tolvane::Clock::current().sleep(retryPause);
        }
        if (budget <= budgetPerRetry) {
            return false;
        }
        budget -= budgetPerRetry;
    }
    return false;
}

bool traceimpl::sync(unsigned long long milliseconds)
{
    const tolvane::NoCancellation noCancellation;
    if (insidelibrary::isEntered()) {
        return false;
    }
    const tolvane::Clock& clock = tolvane::Clock::current();
    const unsigned long long asked = drainedUpTo();
    const unsigned long long start = clock.monotonicMilliseconds();
    unsigned long long lastBatch = 0; // that lines from before the call are in, once it is known
    while (!isWritten(asked, lastBatch)) {
        if (clock.monotonicMilliseconds() - start >= milliseconds || m_sinkLock.isMine()) {
            return false;
        }
        clock.sleep(syncPause);
        if (!writerRuns()) {
            if (const std::exception_ptr fault = pass(passkind::full)) {
                std::rethrow_exception(fault);
            }
        }
    }
    return true;
}

/// A stamp that no line of before the call is younger than.
unsigned long long traceimpl::drainedUpTo()
{
    const instancelock lock(m_instanceMutex);
    drain();
    return m_drainedUpTo;
}

/// Whether the lines of before a stamp were handed to the sinks, or lost.
/// \param lastBatch  the number of the last batch that such lines are in; 0 until they are taken.
bool traceimpl::isWritten(unsigned long long before, unsigned long long& lastBatch)
{
    const instancelock lock(m_instanceMutex);
    if (lastBatch == 0 && (waitingLines() == 0 || m_takenUpTo >= before || m_sinks.empty())) {
        lastBatch = std::max(m_batches, 1ULL);
    }
    const unsigned long long inPass = m_inPass;
    return lastBatch != 0 && (inPass == 0 || inPass > lastBatch);
}

void traceimpl::flushOn(tracelevel_t level) noexcept
{
    m_flushesBelow.store(level < tl_always ? noLevel : level + 1, std::memory_order_relaxed);
}

/// Has the line that was traced last written, before its thread goes on. When others have taken it,
/// they are waited for.
void traceimpl::flushLine()
{
    if (m_sinkLock.isMine()) {
        return;
    }
    if (const std::exception_ptr fault = pass(passkind::full)) {
        leaveToWriter(fault);
    }
    const insidelibrary inside;
    patience waiting(m_sinkLock.progress());
    const unsigned long long batch = m_inPass;
    while (batch != 0 && m_inPass == batch && waiting.lasts()) {
        m_sinkLock.waitForReturn();
    }
}

/// A line's end throws nothing: the thread goes on, and the sink's fault is told of as one that the
/// writer came upon.
void traceimpl::leaveToWriter(const std::exception_ptr& fault) noexcept
{
    const instancelock lock(m_instanceMutex);
    m_flushFault = fault;
}

/// The one that was left last; null without one.
std::exception_ptr traceimpl::takeFlushFault() noexcept
{
    const instancelock lock(m_instanceMutex);
    return std::exchange(m_flushFault, nullptr);
}
