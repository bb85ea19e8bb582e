#pragma once

#include "support/mutex.h"
#include "trace/insidelibrary.h"

/// Holds the dispatcher's instance lock for a block, in which the thread is marked as being inside
/// the library.
class instancelock
{
public:
    explicit instancelock(tolvane::Mutex& mutex);
    ~instancelock();

    instancelock(const instancelock&) = delete;
    instancelock& operator=(const instancelock&) = delete;

private:
    const insidelibrary m_inside; ///< from before the lock is taken until after it is left
    const lockobject m_lock;
};
