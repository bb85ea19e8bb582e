#include "trace/traceimpl.h"

#include "support/clock.h"
#include "support/nocancellation.h"

#include <algorithm>

namespace {

/// More lines than a writer pass leaves behind: somebody traces what no sink takes, or faster than
/// the sinks write.
constexpr std::size_t pruneAbove = 1000;

/// When pruning does not help, the producer writes the lines itself, so that the queue stays
/// bounded.
constexpr std::size_t writeAbove = 2000;

/// Ticks of 100 nanoseconds: the first try and up to two more, a millisecond apart. A sink that is
/// busy for longer must not hold up the thread that traces.
constexpr unsigned long long streamLockTimeout = 500;

constexpr unsigned long long budgetPerRetry = 10; ///< milliseconds
constexpr unsigned int retryPause = 10;           ///< milliseconds
constexpr unsigned long long longestWait =
    0xFFFFFFFE; ///< milliseconds; the largest that is not "without limit"

using eventlock = tolvane::Auto_Lock<tolvane::UntypedEvent::UntypedEventImpl>;

} // namespace

void traceimpl::queueLine(tracelevel_t level, const hashedfunction& function, tolvane::string& text)
{
    enqueue(new formattedline(level, function, text));
}

void traceimpl::queueMarker(const hashedfunction& function, formattedline::type_t type)
{
    enqueue(new formattedline(tl_trace, function, type));
}

void traceimpl::enqueue(formattedline* line)
{
    countedptr<formattedline> counted(line);
    if (m_finished) {
        return; // nobody will write it
    }
    m_queue.push_back(std::move(counted));
    if (m_queue.size() > pruneAbove) {
        prune();
    }
    if (m_queue.size() > writeAbove) {
        flushQueue(0);
    }
    if (m_running) {
        m_writeThread.start();
    }
}

/// Drops the lines that no sink takes.
void traceimpl::prune()
{
    const auto refused = [this](const countedptr<formattedline>& line) { return !accepted(*line); };
    m_queue.erase(std::remove_if(m_queue.begin(), m_queue.end(), refused), m_queue.end());
}

bool traceimpl::accepted(const formattedline& line) const
{
    return std::any_of(m_streams.begin(), m_streams.end(), [&line](const auto& stream) {
        return line.m_level <= stream.second->level(*line.m_function);
    });
}

/// Takes the whole queue, in constant time.
traceimpl::batch_t traceimpl::takeQueue()
{
    batch_t batch;
    const lockobject lock(m_instanceMutex);
    batch.swap(m_queue);
    return batch;
}

void traceimpl::writePass()
{
    const batch_t batch = takeQueue();
    writeBatch(batch); // a batch whose sinks are busy is dropped
    const eventlock lock(m_written.impl());
    m_written.value = true;
    m_written.impl()->signalLocked();
}

bool traceimpl::writeBatch(const batch_t& batch)
{
    const tolvane::Auto_TimedMutex lock(m_streamMutex, streamLockTimeout);
    if (lock.owns()) {
        writeLines(batch);
    }
    return lock.owns();
}

/// Line by line across all sinks. Caller holds m_streamMutex.
void traceimpl::writeLines(const batch_t& batch) noexcept
{
    for (const auto& line : batch) {
        for (const auto& stream : m_streams) {
            try {
                if (line->m_level <= stream.second->level(*line->m_function)) {
                    stream.second->log(*line);
                }
            } catch (...) {
                // this sink loses this line; the others, and the lines that follow, are none of its
                // business
            }
        }
    }
}

bool traceimpl::flushQueue(unsigned long long milliseconds)
{
    const tolvane::NoCancellation noCancellation;
    {
        const eventlock lock(m_written.impl());
        m_written.value = false;
    }
    if (milliseconds == 0) {
        writeBatch(takeQueue());
        return true;
    }
    return waitForPass(milliseconds);
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
