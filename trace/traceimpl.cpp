#include "trace/traceimpl.h"

#include "sinks/levelgeneration.h"
#include "support/clock.h"
#include "support/nativethread.h"
#include "trace/writethread.h"

#include <memory>
#include <utility>

namespace {

constexpr int writerWaits = 9;                ///< about a second: the writer may never come
constexpr unsigned int writerWait = 100;      ///< milliseconds
constexpr unsigned int writerRetryPause = 10; ///< milliseconds

/// How long the locks are waited for at the end, in ticks of 100 nanoseconds. Threads that were
/// stopped give nothing back. A killed writer does not either, but living threads may be waiting
/// where it was, and get through. Whoever lives gives back soon, unless it hangs in a sink.
constexpr unsigned long long ofStopped = 500;
constexpr unsigned long long besideKilled = 10000000;
constexpr unsigned long long ofLiving = 100000000;

using eventlock = tolvane::Auto_Lock<tolvane::UntypedEvent::UntypedEventImpl>;

} // namespace

traceimpl::traceimpl() : m_writeThread(new WriteThread(*this)) {}

traceimpl::~traceimpl()
{
    stop();
}

tracestream& traceimpl::output(const tracestream& sink)
{
    const lockobject lock(m_instanceMutex);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    const unsigned long long id = sink.id();
    // cloned before anything is deleted: the sink may be the attached one
    std::unique_ptr<tracestream> attached(sink.clone());
    tracestream*& place = m_streams[id];
    // deleted last: its destructor may come here again
    const std::unique_ptr<tracestream> replaced(place);
    place = attached.release();
    levelgeneration::raise();
    return *place;
}

tracestream& traceimpl::output(const tracestream& sink, tracelevel_t level)
{
    const lockobject lock(m_instanceMutex);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    tracestream& attached = output(sink);
    attached.setLevel(level);
    return attached;
}

void traceimpl::remove(const tracestream& sink)
{
    const lockobject lock(m_instanceMutex);
    flushQueue(0);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    const auto found = m_streams.find(sink.id());
    if (found != m_streams.end()) {
        const std::unique_ptr<tracestream> removed(found->second);
        m_streams.erase(found);
        levelgeneration::raise();
    }
}

void traceimpl::setLevel(tracelevel_t level, const tolvane::string& name)
{
    const lockobject lock(m_instanceMutex);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    for (const auto& stream : m_streams) {
        stream.second->setLevel(level, name);
    }
}

void traceimpl::clearLevels(tracelevel_t level)
{
    const lockobject lock(m_instanceMutex);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    for (const auto& stream : m_streams) {
        stream.second->clearLevels(level);
    }
}

void traceimpl::clearLevels(const tolvane::string& name)
{
    if (name.empty()) {
        clearLevels(tl_always);
        return;
    }
    const lockobject lock(m_instanceMutex);
    const tolvane::Auto_Mutex streamLock(m_streamMutex);
    for (const auto& stream : m_streams) {
        stream.second->clearLevels(name);
    }
}

tracelevel_t traceimpl::maxLevel(const hashedfunction& function)
{
    const lockobject lock(m_instanceMutex);
    const unsigned int generation = levelgeneration::current(); // before the levels are looked at
    tracelevel_t greatest = tl_always;
    for (const auto& stream : m_streams) {
        const tracelevel_t level = stream.second->level(function);
        if (level > greatest) {
            greatest = level;
        }
    }
    function.rememberLevel(generation, greatest);
    return greatest;
}

const hashedfunction& traceimpl::registerfunction(const char* signature)
{
    const lockobject lock(m_instanceMutex);
    countedptr<hashedfunction> function(new hashedfunction(signature));
    m_functions.push_back(std::move(function));
    return *m_functions.back();
}

void traceimpl::stop() noexcept
{
    m_running = false;
    waitForWriter();
    finish();
    m_writeThread.close();
}

/// Bounded: the writer may be gone, or hang in a sink.
void traceimpl::waitForWriter()
{
    for (int attempt = 0; attempt < writerWaits; ++attempt) {
        if (m_stopped || !m_writeThread.started() || m_writeThread.ended()) {
            return;
        }
        bool timedOut = false;
        bool passed = false;
        {
            const eventlock lock(m_written.impl());
            m_written.value = false;
            m_written.impl()->wait(true, &timedOut, writerWait);
            passed = m_written.value && !timedOut;
        }
        if (!passed && !m_stopped) {
            tolvane::Clock::current().sleep(writerRetryPause);
        }
    }
}

/// Whether threads may have died with the library's locks in their hands.
bool traceimpl::writerWasKilled() const noexcept
{
    return tolvane::nativethread::othersAreStopped() || (m_writeThread.ended() && !m_stopped);
}

/// Without the instance lock the queue may be in the middle of a change and is left alone. Without
/// the sink lock the sinks are whole, but for the line that a dead thread was writing. What a
/// living thread may still have its hands on is left as it is: the process is about to end.
void traceimpl::finish() noexcept
{
    const bool othersAreStopped = tolvane::nativethread::othersAreStopped();
    const bool killed = writerWasKilled();
    const tolvane::Auto_TimedMutex lock(m_instanceMutex, othersAreStopped ? ofStopped
                                                         : killed         ? besideKilled
                                                                          : ofLiving);
    const tolvane::Auto_TimedMutex streamLock(m_streamMutex, killed ? ofStopped : ofLiving);
    m_finished = true;
    if ((!lock.owns() && !othersAreStopped) || (!streamLock.owns() && !killed)) {
        return;
    }
    if (lock.owns()) {
        writeLines(takeQueue());
    }
    for (const auto& stream : std::exchange(m_streams, {})) {
        delete stream.second;
    }
    levelgeneration::raise();
}
