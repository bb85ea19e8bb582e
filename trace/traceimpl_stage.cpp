#include "trace/traceimpl.h"

#include "sinks/levelgeneration.h"
#include "support/coldpath.h"
#include "support/stamps.h"
#include "support/threadid.h"
#include "trace/faultpoint.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"
#include "trace/linecontents.h"
#include "trace/linelimits.h"
#include "trace/stage.h"
#include "trace/threadstage.h"

#include <memory>

// How a line is staged.

void traceimpl::queueMarker(const hashedfunction& function, formattedline::type_t type)
{
    stageLine(tl_trace, function, markercontent{type});
}

void traceimpl::queueOperands(tracelevel_t level, const hashedfunction& function,
                              const unsigned char* operands, std::size_t size)
{
    stageLine(level, function, operandcontent{operands, size});
}

void traceimpl::queueLine(tracelevel_t level, const hashedfunction& function, tolvane::string& text)
{
    try {
        stageLine(level, function, textcontent{text});
    } catch (...) {
        text.erase(tolvane::string::npos);
        throw;
    }
    text.erase(tolvane::string::npos);
}

template <class content_t>
void traceimpl::stageLine(tracelevel_t level, const hashedfunction& function,
                          const content_t& content)
{
    stage* mine = threadstage::get();
    if (!mine || mine->dispatcher() != m_number) {
        mine = enterThread(level, function);
        if (!mine) {
            if (!insidelibrary::isEntered()) {
                queueDirectly(level, function, content);
            }
            return;
        }
    }
    if (mine->isVisited()) { // a signal handler, or an allocator, within what follows
        m_losses.note(function, level);
        return;
    }
    faultpoint::reach(faultpoint::captured);
    admission admitted = admission::writeFirst;
    while (admitted == admission::writeFirst) {
        admitted = stageOn(*mine, level, function, content);
        if (needsRelief(admitted) && !relieve(admitted)) {
            return;
        }
    }
    if (TOLVANE_RARELY(isFlushed(level)) && isStaged(admitted)) {
        flushLine();
    }
}

inline bool traceimpl::isFlushed(tracelevel_t level) const noexcept
{
    return level < m_flushesBelow.load(std::memory_order_relaxed);
}

inline bool traceimpl::isStaged(admission admitted) noexcept
{
    return admitted == admission::stage || admitted == admission::stageThenPrune ||
           admitted == admission::stageThenWrite;
}

inline bool traceimpl::needsRelief(admission admitted) noexcept
{
    return admitted >= admission::stageThenPrune;
}

template <class content_t>
inline traceimpl::admission traceimpl::stageOn(stage& mine, tracelevel_t level,
                                               const hashedfunction& function,
                                               const content_t& content)
{
    // before everything else: the processor goes on while it reads the counter
    unsigned long long stamp = tolvane::stamps::now();
    const stage::visit visit(mine);
    linebudget::allowance& allowance = mine.allowance();
    const bool isAllowed = m_budget.holds(allowance);
    const admission admitted =
        isAllowed ? spend(allowance, function, level) : admit(allowance, function, level);
    if (!isStaged(admitted)) {
        if (admitted == admission::refuse) {
            mine.refuse();
        }
        return admitted;
    }
    if (!isAllowed) {
        stamp = tolvane::stamps::now(); // that may have taken its time
    }
    faultpoint::reach(faultpoint::admitted);
    try {
        stagedline& line = mine.prepare(content.size());
        faultpoint::reach(faultpoint::prepared);
        if (!isTaken(function, level)) {
            mine.doubt();
        }
        fillLine(line, level, function, content);
        faultpoint::reach(faultpoint::filled);
        mine.publish(line, stamp);
        faultpoint::reach(faultpoint::published);
    } catch (...) {
        m_losses.note(function, level);
        throw;
    }
    return admitted;
}

/// Makes the thread's stage. While that goes on, whatever traces on this thread is lost, since it
/// comes from the allocator.
///
/// \return null when the line was lost thereby, or the thread has left or can keep no stage.
TOLVANE_COLD stage* traceimpl::enterThread(tracelevel_t level, const hashedfunction& function)
{
    if (insidelibrary::isEntered()) {
        m_losses.note(function, level);
        return nullptr;
    }
    if (threadstage::place() == threadstage::left) {
        return nullptr;
    }
    const insidelibrary inside;
    stage* const ofOther = threadstage::get(); // of another dispatcher
    try {
        auto made = makeStage();
        threadstage::set(made.get());
        if (threadstage::get() != made.get()) {
            stage::release(made.release()); // the other hold on it is the drain's
            return nullptr;
        }
        static_cast<void>(made.release());
    } catch (...) {
        m_losses.note(function, level);
        throw;
    }
    if (ofOther) {
        stage::release(ofOther);
    }
    return threadstage::get();
}

/// Known to the drain, but not to the thread yet: the system may hold locks of its own while it
/// notes that the thread's end is to be told, so that this comes without the library's.
std::unique_ptr<stage> traceimpl::makeStage()
{
    const instancelock lock(m_instanceMutex);
    auto made = std::make_unique<stage>(m_number, tolvane::currentThreadId(), threadname::mine());
    m_drain.add(made.get());
    return made;
}

/// Lines of before have the name of before. Nothing of that can be done amid the library's work.
void traceimpl::nameThread(const tolvane::string& name)
{
    if (insidelibrary::isEntered()) {
        return;
    }
    const insidelibrary inside;
    threadname::setMine(name.empty() ? nullptr : threadname::make(name));
    const instancelock lock(m_instanceMutex);
    stage* const mine = threadstage::get();
    if (mine && mine->dispatcher() == m_number) {
        drain();
        mine->setName(threadname::mine());
    }
}

/// Whether a sink takes the line for certain. Takes no lock.
inline bool traceimpl::isTaken(const hashedfunction& function, tracelevel_t level) noexcept
{
    tracelevel_t greatest = tl_always;
    return function.remembersLevel(greatest) && level <= greatest;
}

bool traceimpl::isRefused(const hashedfunction& function, tracelevel_t level)
{
    tracelevel_t greatest = tl_always;
    return level > (function.remembersLevel(greatest) ? greatest : maxLevel(function));
}

/// A line that no sink takes costs nothing of the allowance.
inline traceimpl::admission traceimpl::spend(linebudget::allowance& mine,
                                             const hashedfunction& function, tracelevel_t level)
{
    if (mine.isSelective && isRefused(function, level)) {
        return admission::refuse;
    }
    --mine.left;
    return admission::stage;
}

/// Counts exactly what waits, and decides. An allowance for more lines comes along when there is
/// room for them.
TOLVANE_COLD traceimpl::admission
traceimpl::admit(linebudget::allowance& mine, const hashedfunction& function, tracelevel_t level)
{
    if (m_budget.take(mine)) {
        return spend(mine, function, level);
    }
    const instancelock lock(m_instanceMutex);
    if (m_finished) {
        lose(trace::ended, function, level);
        return admission::drop;
    }
    startWriter();
    if (m_budget.take(mine)) { // somebody settled meanwhile
        return spend(mine, function, level);
    }
    const bool selects = isPruned();
    if (selects && isRefused(function, level)) {
        return admission::refuse;
    }
    const std::size_t waiting = waitingLines();
    if (waiting < (selects ? linelimits::writeAbove : linelimits::pruneAbove)) {
        settle();
        return m_budget.take(mine) ? spend(mine, function, level) : admission::stage;
    }
    if (waiting >= linelimits::writeAbove && m_sinkLock.isMine()) {
        lose(trace::busySink, function, level); // a sink that traces: it is to return first
        return admission::drop;
    }
    if (!selects) {
        return admission::stageThenPrune;
    }
    return waiting > linelimits::writeAbove ? admission::writeFirst : admission::stageThenWrite;
}

/// What was staged without an allowance is pruned or written. When pruning leaves more than may
/// wait, the thread writes.
///
/// \return false in the copy of the process that a sink has forked meanwhile: the line is the other
///         one's, and the thread's stage is gone.
TOLVANE_COLD bool traceimpl::relieve(admission admitted)
{
    faultpoint::reach(faultpoint::relieving);
    const insidelibrary inside;
    if (admitted == admission::stageThenPrune) {
        const instancelock lock(m_instanceMutex);
        prune();
        if (waitingLines() <= linelimits::writeAbove) {
            return true;
        }
    }
    const unsigned int forks = m_sinkLock.progress().forks();
    if (const std::exception_ptr fault = pass(passkind::relief)) {
        std::rethrow_exception(fault);
    }
    return m_sinkLock.progress().forks() == forks;
}

/// A line of a thread that has left its stage: it comes behind all that is staged.
template <class content_t>
TOLVANE_COLD void traceimpl::queueDirectly(tracelevel_t level, const hashedfunction& function,
                                           const content_t& content)
{
    {
        const instancelock lock(m_instanceMutex);
        if (m_finished) {
            lose(trace::ended, function, level);
            return;
        }
        startWriter();
        drain();
        try {
            appendLine(m_queue.lines(), level, function, content);
            if (!isTaken(function, level)) {
                m_emptiedUnder = 0;
            }
        } catch (...) {
            lose(trace::noMemory, function, level);
            throw;
        }
        if (m_queue.size() > linelimits::pruneAbove) {
            prune();
        }
        settle();
        if (m_queue.size() <= linelimits::writeAbove && !isFlushed(level)) {
            return;
        }
    }
    if (isFlushed(level)) {
        flushLine();
    } else {
        static_cast<void>(relieve(admission::stageThenWrite));
    }
}
