#pragma once

#include "support/callerserror.h"
#include "trace/threadstage.h"

#include <cstdint>

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
    insidelibrary() noexcept;
    ~insidelibrary();

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
    outsidelibrary() noexcept;
    ~outsidelibrary();

    outsidelibrary(const outsidelibrary&) = delete;
    outsidelibrary& operator=(const outsidelibrary&) = delete;

private:
    const bool m_wasInside;
};
