#include "trace/traceimpl.h"

#include <tolvane/tracestream.h>

#include "sinks/passwriter.h"
#include "stacktrace/faulthooks.h"
#include "support/autoresetevent.h"
#include "support/clock.h"
#include "support/nativethread.h"
#include "trace/bothlocks.h"
#include "trace/insidelibrary.h"

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <utility>

// How the report of a fault is written: by a thread of its own, since no sink need ever come back
// from it, and the thread that faulted has an end to come to.

/// A pass behind all that waits. The thread that faulted and the one that writes share it.
class traceimpl::reportpass
{
public:
    /// Throws std::bad_alloc.
    reportpass(traceimpl& dispatcher, const tracestream& sink, tracelevel_t level,
               std::shared_ptr<const packedlines> lines)
        : m_dispatcher(dispatcher), m_sink(sink.clone()), m_level(level), m_lines(std::move(lines))
    {
        if (!m_sink) {
            throw std::bad_alloc();
        }
        ++m_dispatcher.m_reports;
    }

    ~reportpass() { --m_dispatcher.m_reports; }

    reportpass(const reportpass&) = delete;
    reportpass& operator=(const reportpass&) = delete;

    /// Writes it, on the first thread that calls.
    /// \param patience  milliseconds, for the locks; without them nothing is written.
    /// \return whether this was the first.
    bool run(unsigned long long patience) noexcept
    {
        if (m_isBegun.exchange(true)) {
            return false;
        }
        try {
            write(patience);
        } catch (...) {
            m_fault = std::current_exception(); // no memory, or a fault in the making of a sink
        }
        m_ended.set();
        return true;
    }

    bool waitForEnd(unsigned long long milliseconds) noexcept
    {
        return tolvane::Clock::current().wait(m_ended, static_cast<unsigned int>(milliseconds));
    }

    /// Whether the caller is the one to write to the report's own sink: the first that asks.
    bool claimSink() noexcept { return !m_isSinkClaimed.exchange(true); }

    /// After the end.
    void rethrowFault() const
    {
        if (m_fault) {
            std::rethrow_exception(m_fault);
        }
    }

private:
    /// The report's own sink comes last: whatever holds it up, the others have the lines.
    void write(unsigned long long patience)
    {
        const insidelibrary inside;
        packedlines batch;
        {
            bothlocks locks(m_dispatcher, patience);
            if (!locks.areHeld()) {
                return;
            }
            const unsigned long long id = m_sink->id();
            m_dispatcher.attach(*m_sink, m_level);
            batch = m_dispatcher.takeAll();
            m_dispatcher.m_inPass = m_dispatcher.m_batches;
            locks.giveInstanceLockBack();
            m_forks = m_dispatcher.m_sinkLock.progress().forks();
            writeTo(sinkchoice::all(), batch);
            writeTo(sinkchoice::allBut(id), *m_lines);
            dumpRecorders();
            if (claimSink()) {
                writeTo(sinkchoice::only(id), *m_lines);
            }
            m_dispatcher.endPass();
        }
        m_dispatcher.keep(batch);
    }

    /// When a sink has forked, the rest is the parent's.
    void writeTo(const sinkchoice& sinks, const packedlines& lines) noexcept
    {
        if (m_dispatcher.m_sinkLock.progress().forks() != m_forks) {
            return;
        }
        const std::exception_ptr fault = m_dispatcher.writeBatch(lines, sinks);
        m_fault = m_fault ? m_fault : fault;
    }

    void dumpRecorders() noexcept
    {
        if (m_dispatcher.m_sinkLock.progress().forks() == m_forks) {
            const std::exception_ptr fault = m_dispatcher.dumpRecorders();
            m_fault = m_fault ? m_fault : fault;
        }
    }

    traceimpl& m_dispatcher;
    const std::unique_ptr<tracestream> m_sink;
    const tracelevel_t m_level;
    const std::shared_ptr<const packedlines> m_lines;
    std::atomic<bool> m_isBegun{false};
    std::atomic<bool> m_isSinkClaimed{false};
    tolvane::AutoResetEvent m_ended;
    unsigned int m_forks = 0; ///< when it began
    std::exception_ptr m_fault;
};

bool traceimpl::report(const tracestream& sink, tracelevel_t level,
                       const std::shared_ptr<const packedlines>& lines, unsigned long long patience)
{
    if (m_sinkLock.isMine()) {
        return isInCallOf(sink.id());
    }
    const insidelibrary inside;
    if (lines->size() == 0) {
        attachInTime(sink, level, patience);
        return true;
    }
    const auto pass = std::make_shared<reportpass>(*this, sink, level, lines);
    bool hasEnded = false;
    if (handOver(pass)) {
        hasEnded = pass->waitForEnd(patience);
        patience = 0; // a thread that has not begun yet may be one that cannot
    }
    hasEnded = hasEnded || pass->run(patience);
    if (hasEnded) {
        pass->rethrowFault();
    }
    return !pass->claimSink() || isInCallOf(sink.id());
}

/// For a report that nobody takes.
void traceimpl::attachInTime(const tracestream& sink, tracelevel_t level,
                             unsigned long long patience)
{
    bothlocks locks(*this, patience);
    if (locks.areHeld()) {
        attach(sink, level);
        locks.giveInstanceLockBack();
        destroyDetached();
    }
}

/// Has another thread write it.
/// \return false when there is none to be had, or this one holds what it would need.
bool traceimpl::handOver(const std::shared_ptr<reportpass>& pass) noexcept
{
    if (m_instanceMutex.impl()->isMine() || tolvane::nativethread::othersAreStopped()) {
        return false;
    }
    auto* const shared = new (std::nothrow) std::shared_ptr<reportpass>(pass);
    if (!shared) {
        return false;
    }
    unsigned int id = 0;
    int error = 0;
    void* const thread = tolvane::nativethread::start(writeReport, shared, id, error);
    if (!thread) {
        delete shared;
        return false;
    }
    tolvane::nativethread::close(thread);
    return true;
}

unsigned int traceimpl::writeReport(void* pass)
{
    const std::unique_ptr<std::shared_ptr<reportpass>> shared(
        static_cast<std::shared_ptr<reportpass>*>(pass));
    faults::prepareThread(); // sinks may use up its stack
    (*shared)->run(longestWaitToReport);
    return 0;
}

bool traceimpl::isInCallOf(unsigned long long id) const noexcept
{
    return m_sinkLock.progress().isInCallOf(id);
}
