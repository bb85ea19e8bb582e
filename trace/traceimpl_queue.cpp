#include "trace/traceimpl.h"

#include "sinks/levelgeneration.h"
#include "sinks/passwriter.h"
#include "support/clock.h"
#include "support/coldpath.h"
#include "support/nocancellation.h"
#include "support/prefetch.h"

#include <algorithm>

namespace {

/// More lines than a writer pass leaves behind: somebody traces what no sink takes, or faster than
/// the sinks write.
constexpr std::size_t pruneAbove = 1000;

/// When pruning does not help, the producer writes the lines itself, so that the queue stays
/// bounded.
constexpr std::size_t writeAbove = 2000;

/// When a burst begins, the places of its first lines, in the queue and among the spare records,
/// are sent for; four of them fill a cache line.
constexpr std::size_t linesPerFetch = 4;
constexpr std::size_t linesOfFirstPlaces = 12;

/// Spare records are sent for so many lines ahead.
constexpr std::ptrdiff_t linesToRecord = 4;
constexpr std::ptrdiff_t linesToText = 2;

/// Ticks of 100 nanoseconds: the first try and up to two more, a millisecond apart. A sink that is
/// busy for longer must not hold up the thread that traces.
constexpr unsigned long long streamLockTimeout = 500;

/// Characters. Memory of longer texts is given back.
constexpr unsigned long long longestSpare = 512;

constexpr unsigned long long budgetPerRetry = 10; ///< milliseconds
constexpr unsigned int retryPause = 10;           ///< milliseconds
constexpr unsigned long long longestWait =
    0xFFFFFFFE; ///< milliseconds; the largest that is not "without limit"

using eventlock = tolvane::Auto_Lock<tolvane::UntypedEvent::UntypedEventImpl>;

} // namespace

void traceimpl::queueLine(tracelevel_t level, const hashedfunction& function, tolvane::string& text)
{
    if (m_finished) { // nobody will write it
        text.erase(tolvane::string::npos);
        return;
    }
    enqueue(level, function, text);
}

void traceimpl::queueMarker(const hashedfunction& function, formattedline::type_t type)
{
    if (!m_finished) {
        enqueue(tl_trace, function, type);
    }
}

/// A record that was written before has its memory already.
template <class content_t>
void traceimpl::enqueue(tracelevel_t level, const hashedfunction& function, content_t& content)
{
    if (m_queue.capacity() == 0) {
        makeRoom();
    }
    if (m_spareLines.empty()) {
        countedptr<formattedline> line(new formattedline(level, function, content));
        m_queue.push_back(std::move(line));
    } else {
        fetchSpare();
        m_queue.push_back(std::move(m_spareLines.back()));
        m_spareLines.pop_back();
        m_queue.back()->renew(level, function, content);
    }
    if (m_queue.size() > pruneAbove) {
        shortenQueue();
    }
    if (!m_writeThread.started()) {
        startWriter();
    }
}

/// All that the queue will ever need. If it grew step by step, between the records, it would leave
/// gaps among them, and at every gap a line waits for cold memory.
TOLVANE_COLD void traceimpl::makeRoom()
{
    m_queue.reserve(writeAbove + 1);
}

/// The writer's processor had the records last: they are sent for before they are needed, the texts
/// when the records have come.
void traceimpl::fetchSpare() const noexcept
{
    const std::size_t count = m_spareLines.size();
    if (count <= linesToRecord) {
        return;
    }
    if (m_queue.empty()) {
        fetchFirstSpare();
        return;
    }
    m_spareLines[count - 1 - linesToRecord]->fetch();
    m_spareLines[count - 1 - linesToText]->fetchText();
}

/// A burst begins: nothing was sent for yet. That goes for the places of records, too; after some
/// lines the processor foresees them by itself.
void traceimpl::fetchFirstSpare() const noexcept
{
    const std::size_t last = m_spareLines.size() - 1;
    for (std::size_t line = linesPerFetch; line <= linesOfFirstPlaces; line += linesPerFetch) {
        tolvane::prefetch(m_queue.data() + line);
        tolvane::prefetch(&m_spareLines[last - std::min(line, last)]);
    }
    const auto first = m_spareLines.rbegin();
    std::for_each(first, first + 1 + linesToRecord, [](const auto& line) { line->fetch(); });
    std::for_each(first, first + 1 + linesToText, [](const auto& line) { line->fetchText(); });
}

TOLVANE_COLD void traceimpl::startWriter()
{
    if (m_running) {
        m_writeThread.start();
    }
}

TOLVANE_COLD void traceimpl::shortenQueue()
{
    prune();
    if (m_queue.size() > writeAbove) {
        flushQueue(0);
    }
}

/// Drops the lines that no sink takes. Those that were found to be taken before still are, while no
/// level and no sink has changed.
void traceimpl::prune()
{
    const unsigned int generation = levelgeneration::current();
    const std::size_t taken = generation == m_takenGeneration ? m_takenLines : 0;
    const auto refused = [this](const countedptr<formattedline>& line) { return !accepted(*line); };
    m_queue.erase(std::remove_if(m_queue.begin() + static_cast<std::ptrdiff_t>(taken),
                                 m_queue.end(), refused),
                  m_queue.end());
    m_takenLines = m_queue.size();
    m_takenGeneration = generation;
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
    m_queue.swap(m_spareQueue);
    m_takenLines = 0;
    return batch;
}

void traceimpl::writePass()
{
    writeBatch(takeQueue());
    const eventlock lock(m_written.impl());
    m_written.value = true;
    m_written.impl()->signalLocked();
}

/// A batch whose sinks are busy is dropped.
void traceimpl::writeBatch(batch_t batch)
{
    {
        const tolvane::Auto_TimedMutex lock(m_streamMutex, streamLockTimeout);
        if (lock.owns()) {
            writeLines(batch);
        }
    }
    keepSpare(batch);
}

/// Line by line across all sinks. Caller holds m_streamMutex.
void traceimpl::writeLines(const batch_t& batch) noexcept
{
    try {
        passwriter pass(m_streams);
        for (const auto& line : batch) {
            pass.write(*line);
        }
    } catch (...) {
        // no memory to begin with: the batch is dropped
    }
}

/// Keeps the records, whose memory lines to come will use, unless they are large or fewer than
/// those that are kept already; and the vector, for a queue that has none or for the next one. The
/// thread that wrote the records empties them, since it has them at hand. The lock is held for
/// constant time.
void traceimpl::keepSpare(batch_t& batch) noexcept
{
    const auto large = [](const countedptr<formattedline>& line) {
        return line->m_formatted.capacity() > longestSpare ||
               line->m_text.capacity() > longestSpare;
    };
    batch.erase(std::remove_if(batch.begin(), batch.end(), large), batch.end());
    for (const auto& line : batch) {
        line->retire();
    }
    {
        const lockobject lock(m_instanceMutex);
        if (m_spareLines.size() < batch.size()) {
            m_spareLines.swap(batch);
        }
    }
    batch.clear();
    const lockobject lock(m_instanceMutex);
    if (m_queue.capacity() == 0) {
        m_queue.swap(batch);
    }
    if (m_spareQueue.capacity() == 0) {
        m_spareQueue.swap(batch);
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
