#include "trace/traceimpl.h"

#include "sinks/levelgeneration.h"
#include "sinks/passwriter.h"
#include "support/clock.h"
#include "support/nocancellation.h"
#include "trace/bothlocks.h"
#include "trace/faultpoint.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"
#include "trace/linelimits.h"
#include "trace/stage.h"

// How lines are taken from the stages and written.

/// Exact for lines that came before the call. Caller holds m_instanceMutex.
std::size_t traceimpl::waitingLines() const noexcept
{
    return m_queue.size() + m_drain.pending();
}

/// Whether what waits was pruned under the levels of now, and so much of it was left that lines
/// which no sink takes are better not staged. Caller holds m_instanceMutex.
bool traceimpl::isPruned() const noexcept
{
    return m_prunedUnder != 0 && m_prunedUnder == levelgeneration::current();
}

/// Says how many lines may come before something must be done. Caller holds m_instanceMutex.
void traceimpl::settle() noexcept
{
    m_budget.close();
    const std::size_t waiting = waitingLines();
    if (waiting < linelimits::pruneAbove) {
        m_prunedUnder = 0;
    }
    const std::size_t limit = isPruned() ? linelimits::writeAbove : linelimits::pruneAbove;
    const bool mayCome = waiting < limit && !m_finished && (!m_running || writerRuns());
    m_budget.settle(mayCome ? limit - waiting : 0, isPruned() ? m_prunedUnder : 0);
}

/// Moves what is staged to the queue. Caller holds m_instanceMutex.
void traceimpl::drain() noexcept
{
    m_queue.freeForgotten();
    m_drainedUpTo = m_drain.run([this](stagedline& line, const stage& from) {
        faultpoint::reach(faultpoint::drainingLine);
        try {
            m_queue.lines().append(line, {from.threadId(), from.name(), m_drain.utcOf(line)});
        } catch (const std::bad_alloc&) {
            lose(trace::noMemory, *line.function, line.level);
        }
    });
    refuse(m_drain.takeRefused());
    m_drain.tidy();
    countNoted();
    faultpoint::reach(faultpoint::drained);
}

/// Counts what was lost where no lock could be taken. Caller holds m_instanceMutex.
void traceimpl::countNoted() noexcept
{
    const unsigned long long others = m_losses.take(
        [this](const hashedfunction& function, tracelevel_t level, unsigned long long lines) {
            lose(trace::noMemory, function, level, lines);
        });
    for (auto& attached : m_sinks) {
        attached.second.counts.lose(trace::noMemory, others);
    }
    if (m_sinks.empty()) {
        m_nobodys.fetch_add(others, std::memory_order_relaxed);
    }
}

/// Drops what no sink takes. Others need not wait meanwhile: from the beginning they stage nothing
/// that would be dropped. Caller holds m_instanceMutex.
void traceimpl::prune() noexcept
{
    const unsigned int generation = levelgeneration::current(); // before the levels are looked at
    m_prunedUnder = generation;
    settle();
    if (isAllTaken(generation)) {
        return;
    }
    drain();
    refuse(m_queue.prune(generation, [this](const hashedfunction& function, tracelevel_t level) {
        return m_sinks.empty() || isRefused(function, level);
    }));
    settle();
}

/// Whether some sink takes each line that waits, as was found when each was staged, and levels have
/// not changed since. A line that was amid being staged when all were taken may be another one; it
/// is refused in the pass. Caller holds m_instanceMutex.
bool traceimpl::isAllTaken(unsigned int generation) const noexcept
{
    return generation == m_emptiedUnder && !m_sinks.empty() && !m_drain.hasDoubts();
}

/// Caller holds m_instanceMutex, and m_sinkLock unless the batch is dropped.
packedlines traceimpl::takeAll() noexcept
{
    m_emptiedUnder = levelgeneration::current(); // before what is staged from now on
    m_drain.forgetDoubts();
    drain();
    packedlines batch = m_queue.takeAll();
    if (m_sinks.empty()) {
        m_nobodys += batch.size();
    }
    m_takenUpTo = m_drainedUpTo;
    ++m_batches;
    faultpoint::reach(faultpoint::batchTaken);
    settle();
    return batch;
}

/// Caller holds m_instanceMutex or m_sinkLock.
void traceimpl::lose(trace::lossreason reason, const hashedfunction& function, tracelevel_t level,
                     unsigned long long lines, const sinkchoice& by) noexcept
{
    for (auto& attached : m_sinks) {
        if (!by.has(attached.first)) {
            continue;
        }
        sinkcounts& counts = attached.second.counts;
        if (level <= attached.second.sink->level(function)) {
            counts.lose(attached.second.isFaulty ? trace::destination : reason, lines);
        } else {
            counts.refused.fetch_add(lines, std::memory_order_relaxed);
        }
    }
    if (m_sinks.empty()) {
        m_nobodys.fetch_add(lines, std::memory_order_relaxed);
    }
    for (const auto& sink : m_endedSinks) {
        if (level <= sink->level(function)) {
            m_departed.lose(reason, lines);
        }
    }
}

void traceimpl::loseAll(const packedlines& batch, trace::lossreason reason,
                        const sinkchoice& by) noexcept
{
    for (const queuedline& line : batch) {
        lose(reason, *line.function, line.level, 1, by);
    }
}

/// Counts lines that no sink takes. Caller holds m_instanceMutex.
void traceimpl::refuse(unsigned long long lines) noexcept
{
    for (auto& attached : m_sinks) {
        attached.second.counts.refused.fetch_add(lines, std::memory_order_relaxed);
    }
    if (m_sinks.empty()) {
        m_nobodys.fetch_add(lines, std::memory_order_relaxed);
    }
}

void traceimpl::writePass()
{
    std::exception_ptr fault = pass(passkind::full);
    if (!fault) {
        fault = takeFlushFault();
    }
    if (!fault) {
        fault = lookAtSettings();
    }
    if (!fault) {
        signalWritten();
        return;
    }
    {
        const instancelock lock(m_instanceMutex);
        m_faulted = true;
        settle(); // the next line finds no allowance, and starts a new writer
    }
    signalWritten();
    std::rethrow_exception(fault);
}

/// Writes what waits. A thread that is in a sink's call already does nothing.
///
/// \return the hardware fault of a sink, for the caller to throw when all is done.
std::exception_ptr traceimpl::pass(passkind kind)
{
    const tolvane::NoCancellation noCancellation;
    const insidelibrary inside;
    packedlines batch;
    if (m_sinkLock.isMine() || !beginPass(kind, batch)) {
        return nullptr;
    }
    std::exception_ptr fault = writeBatch(batch);
    endPass();
    m_sinkLock.leave();
    faultpoint::reach(faultpoint::passEnded);
    keep(batch);
    return fault;
}

/// Takes what waits, together with the sink lock. When the lock cannot be had in time the lines are
/// dropped: nobody takes lines that he cannot write.
bool traceimpl::beginPass(passkind kind, packedlines& batch)
{
    patience waiting(m_sinkLock.progress());
    for (;;) {
        {
            const instancelock lock(m_instanceMutex);
            if (!isWorthAPass(kind)) {
                return false;
            }
            if (m_sinkLock.tryEnter(true)) {
                faultpoint::reach(faultpoint::passBegun);
                batch = takeAll();
                m_inPass = m_batches;
                return true;
            }
            if (m_sinkLock.progress().moves() == m_givenUpAt || !waiting.lasts()) {
                giveUp();
                return false;
            }
        }
        m_sinkLock.waitForReturn();
    }
}

/// Caller holds m_instanceMutex.
bool traceimpl::isWorthAPass(passkind kind) noexcept
{
    if (kind == passkind::relief) {
        return waitingLines() > linelimits::writeAbove;
    }
    drain(); // also gives back what threads have left
    return m_queue.size() != 0;
}

/// Until the sink that is busy moves, lines that come to this point are dropped at once. Caller
/// holds m_instanceMutex.
void traceimpl::giveUp() noexcept
{
    m_givenUpAt = m_sinkLock.progress().moves();
    packedlines dropped = takeAll();
    loseAll(dropped, trace::busySink);
    dropped.clear();
    m_queue.keep(dropped);
}

/// Caller holds m_sinkLock alone.
std::exception_ptr traceimpl::writeBatch(const packedlines& batch, const sinkchoice& to) noexcept
{
    try {
        passwriter writer(m_sinks, m_sinkLock.progress(), to);
        faultpoint::reach(faultpoint::batchBegun);
        writer.write(batch);
        faultpoint::reach(faultpoint::batchWritten);
        return writer.fault();
    } catch (const std::bad_alloc&) {
        loseAll(batch, trace::noMemory, to);
        return nullptr;
    }
}

/// Has all recorders, or that one if it is attached, hand on what they keep. Without memory they
/// keep it. Caller holds m_sinkLock alone.
std::exception_ptr traceimpl::dumpRecorders(const recordertracestream* recorder) noexcept
{
    try {
        passwriter writer(m_sinks, m_sinkLock.progress());
        writer.dump(recorder);
        return writer.fault();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Within a sink's own call, nothing is written before.
void traceimpl::dump(const recordertracestream& recorder)
{
    std::exception_ptr fault;
    {
        bothlocks locks(*this);
        const unsigned long long outerPass = m_inPass;
        packedlines batch;
        if (outerPass == 0) {
            batch = takeAll();
            m_inPass = m_batches;
        }
        locks.giveInstanceLockBack();
        fault = writeBatch(batch);
        const std::exception_ptr other = dumpRecorders(&recorder);
        fault = fault ? fault : other;
        if (outerPass == 0) {
            endPass();
        }
        keep(batch);
    }
    if (fault) {
        std::rethrow_exception(fault);
    }
}

/// Caller holds m_sinkLock alone.
void traceimpl::endPass() noexcept
{
    m_inPass = 0;
    destroyDetached();
}

/// The lines' memory serves again. The lock is held for constant time.
void traceimpl::keep(packedlines& written) noexcept
{
    written.clear();
    const instancelock lock(m_instanceMutex);
    m_queue.keep(written);
}
