#include "trace/traceimpl.h"

#include "sinks/levelgeneration.h"
#include "trace/threadstage.h"

#include <algorithm>
#include <new>
#include <optional>

// How a process forks. Parent and child go on with copies of everything, but in the child all other
// threads are gone, in the middle of whatever they did.

namespace {

/// Milliseconds, for both locks together.
constexpr unsigned long long longestWaitToFork = 1000;

/// Makes a new object in the place of one that threads which are gone may have left in any state.
template <class object_t>
void makeAnew(object_t& object)
{
    new (&object) object_t;
}

} // namespace

traceimpl::forklocks traceimpl::beforeFork() noexcept
{
    forklocks held;
    const sinklock::claim claim(m_sinkLock);
    std::optional<tolvane::Auto_TimedMutex> lock;
    held.sinks = enterBoth(lock, longestWaitToFork, longestWaitToFork);
    held.instance = lock->owns();
    if (held.instance) {
        m_instanceMutex.impl()->lock(); // once more, for longer than this call
    }
    return held;
}

void traceimpl::afterForkInParent(const forklocks& held) noexcept
{
    giveBack(held);
}

void traceimpl::afterForkInChild(const forklocks& held) noexcept
{
    adoptLocks(held);
    forgetLines(held.instance);
    forgetWriter();
    giveBack(held);
}

void traceimpl::giveBack(const forklocks& held) noexcept
{
    if (held.instance) {
        m_instanceMutex.impl()->unlock();
    }
    if (held.sinks) {
        m_sinkLock.leave();
    }
}

/// What the thread holds is its own under its new number. What it does not hold is free now.
void traceimpl::adoptLocks(const forklocks& held) noexcept
{
    if (held.instance) {
        m_instanceMutex.impl()->adopt();
    } else {
        makeAnew(m_instanceMutex);
    }
    if (held.sinks) {
        m_sinkLock.adopt();
    } else {
        forgetCall();
        makeAnew(m_sinkLock);
    }
    m_written.renew();
    for (const auto& attached : m_sinks) {
        attached.second.sink->forgetReaders();
    }
}

/// A sink that a thread was inside of may be in any state, and is left alone. It may have removed
/// itself.
void traceimpl::forgetCall() noexcept
{
    for (sinkmap_t* const sinks : {&m_detached, &m_sinks}) {
        const auto called = std::find_if(sinks->begin(), sinks->end(), [this](const auto& each) {
            return m_sinkLock.progress().isInCallOf(each.second.sink);
        });
        if (called == sinks->end()) {
            continue;
        }
        called->second.isFaulty = true; // never destroyed
        if (sinks == &m_sinks) {
            detach(called);
            levelgeneration::raise();
        }
    }
    m_inPass = 0;
}

/// They are the parent's to write, and to count. Nothing is freed: a lock of the application's
/// allocator may be one that another thread had, and the child may be about to start a program.
/// What is whole the first drain frees. What may not be stays where it is, for good; that is once
/// for such a fork.
void traceimpl::forgetLines(bool areWhole) noexcept
{
    makeAnew(m_losses);
    makeAnew(m_flushFault);
    stage* const mine = threadstage::get();
    const bool isWithin = mine && mine->isVisited();
    if (areWhole) {
        m_drain.forgetAll(isWithin ? mine : nullptr);
        m_queue.forget();
    } else {
        makeAnew(m_drain);
        makeAnew(m_queue);
        makeAnew(m_followed);
        m_looksAt = never;
    }
    if (isWithin) {
        mine->forget(false);
    } else if (mine) {
        threadstage::put(threadstage::noStage); // it has the number of the parent's thread
    }
    m_prunedUnder = 0;
    m_emptiedUnder = 0;
    m_givenUpAt = neverGivenUp;
    m_budget.close();
}

/// The next line starts a new one.
void traceimpl::forgetWriter() noexcept
{
    for (const auto& writer : m_writers) {
        writer->forget();
    }
    if (m_writer.load()->started()) {
        m_faulted = true;
    }
    settle();
}
