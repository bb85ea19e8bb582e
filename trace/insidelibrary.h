#pragma once

#include "support/callerserror.h"
#include "trace/threadstage.h"

#include <atomic>

/// Marks the calling thread, for a block, as being in a part of the library that must not be
/// entered again, and keeps its error codes. The application's allocator may be called there, or a
/// signal handler of its own interrupt the thread, and may trace. Such a line is lost: it takes no
/// lock and no memory.
///
/// A lock of the library's is taken only within such a block: who is amid taking or leaving it must
/// not be asked to take it again.
///
/// A stage that the thread is given within the block stays.
class insidelibrary
{
public:
    insidelibrary() noexcept : m_before(threadstage::place())
    {
        if (m_before > threadstage::leftBusy) {
            stage* const mine = threadstage::stageAt(m_before);
            m_wasVisited = mine->isVisited();
            mine->setVisited(true);
        } else if (m_before == threadstage::noStage) {
            threadstage::put(threadstage::busy);
        } else if (m_before == threadstage::left) {
            threadstage::put(threadstage::leftBusy);
        }
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    ~insidelibrary()
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (stage* const mine = threadstage::get()) {
            mine->setVisited(m_wasVisited);
        } else if (threadstage::isBusy()) {
            // a stage that was there is gone: this is the child of a fork within a sink's call
            threadstage::put(m_before > threadstage::leftBusy ? threadstage::noStage : m_before);
        }
    }

    insidelibrary(const insidelibrary&) = delete;
    insidelibrary& operator=(const insidelibrary&) = delete;

    /// Whether the calling thread is in such a block.
    static bool isEntered() noexcept
    {
        const std::uintptr_t place = threadstage::place();
        return place > threadstage::leftBusy ? threadstage::stageAt(place)->isVisited()
                                             : threadstage::isBusy(place);
    }

private:
    const tolvane::CallersError m_callersError;
    const std::uintptr_t m_before;
    bool m_wasVisited = false;
};

/// Takes the mark away for a block in which the application's code is called, a sink's, which may
/// trace.
class outsidelibrary
{
public:
    outsidelibrary() noexcept : m_wasInside(insidelibrary::isEntered())
    {
        if (m_wasInside) {
            mark(false);
        }
    }

    ~outsidelibrary()
    {
        if (m_wasInside) {
            mark(true);
        }
    }

    outsidelibrary(const outsidelibrary&) = delete;
    outsidelibrary& operator=(const outsidelibrary&) = delete;

private:
    /// The thread may have been given a stage within the block, or left it.
    static void mark(bool inside) noexcept
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        const std::uintptr_t place = threadstage::place();
        if (place > threadstage::leftBusy) {
            threadstage::stageAt(place)->setVisited(inside);
        } else if (place == threadstage::left || place == threadstage::leftBusy) {
            threadstage::put(inside ? threadstage::leftBusy : threadstage::left);
        } else {
            threadstage::put(inside ? threadstage::busy : threadstage::noStage);
        }
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    const bool m_wasInside;
};
