#pragma once

#include "trace/threadstage.h"

/// Marks the calling thread, for a block, as being in a part of the library that must not be
/// entered again: the application's allocator may be called there, and may trace. Such a line is
/// lost.
///
/// A stage that the thread is given within the block stays.
class insidelibrary
{
public:
    insidelibrary() noexcept : m_before(threadstage::place())
    {
        if (stage* const mine = threadstage::get()) {
            m_wasVisited = mine->isVisited();
            mine->setVisited(true);
        } else if (m_before == threadstage::noStage) {
            threadstage::put(threadstage::busy);
        } else if (m_before == threadstage::left) {
            threadstage::put(threadstage::leftBusy);
        }
    }

    ~insidelibrary()
    {
        if (threadstage::place() != m_before) {
            if (threadstage::isBusy()) {
                threadstage::put(m_before);
            }
        } else if (stage* const mine = threadstage::get()) {
            mine->setVisited(m_wasVisited);
        }
    }

    insidelibrary(const insidelibrary&) = delete;
    insidelibrary& operator=(const insidelibrary&) = delete;

private:
    const std::uintptr_t m_before;
    bool m_wasVisited = false;
};
