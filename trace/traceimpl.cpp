#include "trace/traceimpl.h"

#include "function/plainname.h"
#include "settings/levelsettings.h"
#include "sinks/levelgeneration.h"
#include "sinks/passwriter.h"
#include "sinks/sinkdescription.h"
#include "stacktrace/structuredexception.h"
#include "support/clock.h"
#include "support/nativethread.h"
#include "support/nocancellation.h"
#include "support/signalheir.h"
#include "support/writesignals.h"
#include "trace/bothlocks.h"
#include "trace/changesinks.h"
#include "trace/forking.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"
#include "trace/sinkfault.h"
#include "trace/sinkid.h"
#include "trace/threadstage.h"
#include "trace/writethread.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace {

constexpr int writerWaits = 9;                ///< about a second: the writer may never come
constexpr unsigned int writerWait = 100;      ///< milliseconds
constexpr unsigned int writerRetryPause = 10; ///< milliseconds

/// How long the locks are waited for at the end, in milliseconds. Threads that were stopped give
/// nothing back. A killed writer does not either, but living threads may be waiting where it was,
/// and get through. Whoever lives gives back soon, unless it hangs in a sink.
constexpr unsigned long long ofStopped = 2;
constexpr unsigned long long besideKilled = 1000;
constexpr unsigned long long ofLiving = 10000;

using eventlock = tolvane::Auto_Lock<tolvane::UntypedEvent::UntypedEventImpl>;

/// A dispatcher's number: 0 is none's.
unsigned long long nextNumber() noexcept
{
    static std::atomic<unsigned long long> last{0};
    return ++last;
}

/// The application's own code.
tracestream* cloneOf(const tracestream& sink)
{
    const outsidelibrary outside;
    return sink.clone();
}

/// Behind a pointer: a compiler expects no exception from a destructor, nor from reading where its
/// code is, which may be unloaded.
void (*volatile const destroySink)(tracestream*) = [](tracestream* sink) { delete sink; };

/// Keeps a sink's levels, to tell which lines it would have taken.
class levelkeeper final : public tracestream
{
public:
    explicit levelkeeper(const tracestream& sink) : tracestream(sink) {}

    void log(const formattedline&) override {}
    unsigned long long id() const override { return 0; }
    levelkeeper* clone() const override { return new levelkeeper(*this); }
};

} // namespace

traceimpl::traceimpl() : m_number(nextNumber())
{
    threadname::noticeThreadEnds();
    threadstage::noticeThreadEnds();
    followForks();
    m_writers.push_back(std::make_unique<tolvane::ThreadControl>(new WriteThread(*this)));
    m_writer = m_writers.back().get();
}

traceimpl::~traceimpl()
{
    stop();
    while (m_reports != 0) { // a thread may still be about one
        tolvane::Clock::current().sleep(1);
    }
}

tracestream& traceimpl::output(const tracestream& sink)
{
    return output(sink, tolvane::levelsettings());
}

/// No line is written before the sink has its levels.
tracestream& traceimpl::output(const tracestream& sink, const tolvane::levelsettings& levels)
{
    bothlocks locks(*this);
    tracestream& attached = attach(sink);
    setLevelsOf(attached, levels);
    locks.giveInstanceLockBack();
    destroyDetached();
    return attached;
}

/// Without memory the sinks stay as they are. Caller holds both locks.
tracestream& traceimpl::attach(const tracestream& sink, std::optional<tracelevel_t> level)
{
    sinkmap_t made;
    const unsigned long long id = idOf(sink);
    attachedsink& place = made[id];
    place.id = id;
    // before anything is destroyed: the sink may be the attached one
    std::unique_ptr<tracestream> cloned(cloneOf(sink));
    if (!cloned) {
        throw std::bad_alloc();
    }
    if (level) {
        cloned->setLevel(*level);
    }
    const auto replaced = m_sinks.find(id);
    if (replaced != m_sinks.end()) {
        detach(replaced);
    }
    place.sink = cloned.release();
    m_sinks.insert(made.extract(made.begin()));
    levelgeneration::raise();
    return *place.sink;
}

/// Caller holds both locks. The sink is destroyed later, by destroyDetached().
void traceimpl::detach(sinkmap_t::iterator attached) noexcept
{
    auto node = m_sinks.extract(attached);
    node.key() = m_detachments++;
    m_detached.insert(std::move(node));
}

/// Caller holds both locks.
void traceimpl::detachAll() noexcept
{
    while (!m_sinks.empty()) {
        detach(m_sinks.begin());
    }
    levelgeneration::raise();
}

/// Sinks are destroyed under the sink lock alone, and not by a thread that is in the middle of
/// writing to them. Caller holds m_sinkLock and not m_instanceMutex.
void traceimpl::destroyDetached() noexcept
{
    if (m_inPass != 0) {
        return; // the end of the pass will
    }
    std::optional<instancelock> lock(std::in_place, m_instanceMutex);
    sinkmap_t detached = takeDetached();
    lock.reset();
    destroy(detached);
}

/// Nothing is counted for them any more. Caller holds both locks.
sinkmap_t traceimpl::takeDetached() noexcept
{
    for (const auto& detached : m_detached) {
        for (int reason = 0; reason < sinkcounts::reasons; ++reason) {
            m_departed.lost[reason] += detached.second.counts.lost[reason];
        }
    }
    return std::exchange(m_detached, {});
}

/// A sink that faulted may be in any state, and is left alone.
void traceimpl::destroy(sinkmap_t& detached) noexcept
{
    if (detached.empty()) {
        return;
    }
    const tolvane::WriteSignals noSignals; // a sink may write what it kept
    for (const auto& each : detached) {
        if (!each.second.isFaulty) {
            const passprogress::foreigncall call(m_sinkLock.progress(), each.second);
            const outsidelibrary outside;
            try {
                destroySink(each.second.sink);
            } catch (const StructuredException&) {
                // its code was unloaded: nobody can destroy it
            }
        }
    }
}

void traceimpl::remove(const tracestream& sink)
{
    std::exception_ptr fault;
    {
        bothlocks locks(*this);
        fault = changeSinks(locks, [this, &sink] {
            const auto found = m_sinks.find(idOf(sink));
            if (found != m_sinks.end()) {
                detach(found);
                levelgeneration::raise();
            }
        });
    }
    if (fault) {
        std::rethrow_exception(fault);
    }
}

unsigned long long traceimpl::lost(trace::lossreason reason)
{
    if (reason < 0 || reason >= sinkcounts::reasons) {
        return 0;
    }
    const instancelock lock(m_instanceMutex);
    countNoted();
    if (m_finished) { // a thread may have been about to stage its line
        loseAll(takeAll(), trace::ended);
    }
    unsigned long long lines = m_departed.lost[reason];
    for (const sinkmap_t* const sinks : {&m_sinks, &m_detached}) {
        for (const auto& each : *sinks) {
            lines += each.second.counts.lost[reason];
        }
    }
    return lines;
}

tolvane::string traceimpl::describe()
{
    const instancelock lock(m_instanceMutex);
    countNoted();
    std::wstring text;
    for (const auto& attached : m_sinks) {
        sinkdescription::append(text, attached.second);
    }
    if (text.empty()) {
        text = L"no sink is attached\n";
    }
    return text + describeSettings();
}

const hashedfunction& traceimpl::registerfunction(const char* signature)
{
    const instancelock lock(m_instanceMutex);
    return keepFunction(new hashedfunction(signature));
}

const hashedfunction& traceimpl::registerscope(const char* signature)
{
    const instancelock lock(m_instanceMutex);
    const std::string name = plainName(signature ? signature : "");
    return keepFunction(new hashedfunction(hashedfunction::plain(), name.c_str()));
}

/// Caller holds m_instanceMutex.
const hashedfunction& traceimpl::keepFunction(hashedfunction* made)
{
    countedptr<hashedfunction> function(made);
    m_functions.push_back(std::move(function));
    return *m_functions.back();
}

/// Starts the writer, or a new one after a sink's fault has ended the last one. Without memory for
/// it, the next line tries again. Caller holds m_instanceMutex.
void traceimpl::startWriter() noexcept
{
    if (!m_running || writerRuns()) {
        return;
    }
    try {
        if (m_faulted) {
            m_writers.push_back(std::make_unique<tolvane::ThreadControl>(new WriteThread(*this)));
            m_writer = m_writers.back().get();
            m_faulted = false;
        }
        m_writer.load()->start();
    } catch (const std::bad_alloc&) {
        // nobody writes the lines meanwhile, but for those who find too many of them
    }
}

bool traceimpl::writerRuns() const noexcept
{
    return m_running && !m_faulted && m_writer.load()->started();
}

void traceimpl::threadEnds() noexcept
{
    if (endThread()) {
        tolvane::SignalBequest bequest;
        bequest.isForGood = true;
        tolvane::appointSignalHeir(bequest);
    } else {
        tolvane::noteEndWithoutHeir();
    }
}

void traceimpl::threadFaults(unsigned int exitCode, bool amidAllocator) noexcept
{
    tolvane::SignalBequest bequest;
    bequest.isForGood = endThread();
    bequest.isAmidAllocator = amidAllocator;
    bequest.exitCode = exitCode;
    tolvane::appointSignalHeir(bequest);
}

/// \return whether the writer goes on.
bool traceimpl::endThread() noexcept
{
    traceimpl* const dispatcher = known();
    if (!dispatcher) {
        return false;
    }
    dispatcher->abandonLocks();
    return dispatcher->writerRuns();
}

/// Waits for nobody for long: who ends amid the allocator holds the allocator's lock for ever.
void traceimpl::abandonLocks() noexcept
{
    if (m_sinkLock.isMine()) {
        for (sinkmap_t* const sinks : {&m_sinks, &m_detached}) { // it may have removed itself
            for (auto& each : *sinks) {
                if (m_sinkLock.progress().isInCallOf(each.second.sink)) {
                    each.second.isFaulty = true;
                }
            }
        }
        m_inPass = 0;
        m_sinkLock.abandon();
    }
    if (m_writer.load()->isCurrent() && m_running) {
        const insidelibrary inside;
        m_faulted = true; // the next line finds no allowance, and starts a new writer
        const tolvane::Auto_TimedMutex lock(m_instanceMutex,
                                            patienceOfEnding * tolvane::ticksPerMillisecond);
        if (lock.owns()) {
            settle();
        } else {
            m_budget.close();
        }
    }
    while (m_instanceMutex.impl()->isMine()) {
        m_instanceMutex.impl()->unlock();
    }
}

void traceimpl::stop() noexcept
{
    m_running = false;
    waitForWriter();
    const std::exception_ptr fault = finish();
    m_writer.load()->close();
    if (!fault) {
        return;
    }
    try {
        std::rethrow_exception(fault);
    } catch (const std::exception&) {
        reportSinkFault(); // the process is to end in order
    }
}

/// Bounded: the writer may be gone, or hang in a sink.
void traceimpl::waitForWriter()
{
    const tolvane::ThreadControl& writer = *m_writer;
    for (int attempt = 0; attempt < writerWaits; ++attempt) {
        if (m_stopped || m_faulted || !writer.started() || writer.ended()) {
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
    return tolvane::nativethread::othersAreStopped() ||
           (!m_stopped && !m_faulted && m_writer.load()->ended());
}

/// Without the instance lock the queue may be in the middle of a change and is left alone. Without
/// the sink lock the sinks are whole, but for the line that a dead thread was writing. What a
/// living thread may still have its hands on is left as it is: the process is about to end.
///
/// \return the hardware fault of a sink.
std::exception_ptr traceimpl::finish() noexcept
{
    const insidelibrary inside;
    const bool othersAreStopped = tolvane::nativethread::othersAreStopped();
    const bool killed = writerWasKilled();
    const unsigned long long patience = othersAreStopped ? ofStopped
                                        : killed         ? besideKilled
                                                         : ofLiving;
    std::optional<tolvane::Auto_TimedMutex> lock;
    const bool sinksAreMine = enterBoth(lock, patience, killed ? ofStopped : ofLiving);
    m_finished = true;
    m_budget.close();
    const bool hasQueue = lock->owns();
    if ((!hasQueue && !othersAreStopped) || (!sinksAreMine && !killed)) {
        if (hasQueue) {
            loseAll(takeAll(), trace::ended);
        }
        return nullptr;
    }
    packedlines batch;
    if (hasQueue) {
        batch = takeAll();
    }
    m_inPass = m_batches;
    lock.reset();
    std::exception_ptr fault = writeBatch(batch);
    m_inPass = 0;
    lock.emplace(m_instanceMutex, patience * tolvane::ticksPerMillisecond);
    if (lock->owns() || othersAreStopped) {
        fault = fault ? fault : m_flushFault;
        rememberEnded();
        detachAll();
        sinkmap_t sinks = takeDetached();
        lock.reset();
        destroy(sinks);
    }
    if (sinksAreMine) {
        m_sinkLock.leave();
    }
    return fault;
}

/// Takes the instance lock, and the sink lock with it; each is waited for so many milliseconds from
/// now on, the sink lock while the instance lock is free.
bool traceimpl::enterBoth(std::optional<tolvane::Auto_TimedMutex>& lock,
                          unsigned long long instancePatience,
                          unsigned long long sinkPatience) noexcept
{
    const tolvane::Clock& clock = tolvane::Clock::current();
    const unsigned long long start = clock.monotonicMilliseconds();
    unsigned long long waited = 0;
    for (;;) {
        lock.emplace(m_instanceMutex, (instancePatience - std::min(waited, instancePatience)) *
                                          tolvane::ticksPerMillisecond);
        if (m_sinkLock.tryEnter(false)) {
            return true;
        }
        waited = clock.monotonicMilliseconds() - start;
        if (!lock->owns() || waited >= sinkPatience) {
            return false;
        }
        lock.reset();
        clock.sleep(1);
    }
}

/// So that lines which come too late are counted as what they are.
void traceimpl::rememberEnded() noexcept
{
    try {
        for (const auto& attached : m_sinks) {
            m_endedSinks.push_back(std::make_unique<levelkeeper>(*attached.second.sink));
        }
    } catch (const std::bad_alloc&) {
        // then they are not counted
    }
}
