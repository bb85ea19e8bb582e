#include "trace/scopeentry.h"

#include "support/callerserror.h"
#include "support/coldpath.h"
#include "trace/insidelibrary.h"
#include "trace/traceimpl.h"

/// Two threads may enter a function for the first time at once: the lock decides which of them
/// registers it.
TOLVANE_COLD const hashedfunction* scopeentry::registerOnce(const hashedfunction*& function,
                                                            const char* signature)
{
    const tolvane::CallersError callersError;
    std::atomic<const hashedfunction*>& shared = tolvane::atomicRef(function);
    const insidelibrary busy;
    const lockobject lock(safesingleton<traceimpl>::instance().m_instanceMutex);
    const hashedfunction* known = shared.load(std::memory_order_acquire);
    if (!known) {
        known = &trace::registerfunction(signature);
        shared.store(known, std::memory_order_release);
    }
    return known;
}

void scopeentry::queueEntry(const hashedfunction& function)
{
    try {
        safesingleton<traceimpl>::instance().queueMarker(function, formattedline::tt_starting);
    } catch (...) {
        stacktrace::up(); // the destructor of what was not constructed will not
        throw;
    }
}

/// What is not a want of memory ends the process: it must not be taken for one.
void scopeentry::queueExit(const hashedfunction& function) noexcept
{
    try {
        safesingleton<traceimpl>::instance().queueMarker(function, formattedline::tt_exiting);
    } catch (const std::bad_alloc&) {
        // the exit line is dropped
    }
}
