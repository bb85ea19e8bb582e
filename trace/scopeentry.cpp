#include "trace/scopeentry.h"

#include "support/coldpath.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"
#include "trace/traceimpl.h"

namespace {

/// Stands for a function that cannot be registered, since its scope interrupts the library. Made
/// when the library is loaded, and never destroyed.
const hashedfunction& unregistered = *new hashedfunction("");

/// Not even lines at tl_always come from a scope of this level.
constexpr auto noLines = static_cast<tracelevel_t>(-1);

} // namespace

/// Two threads may enter a function for the first time at once: the lock decides which of them
/// registers it.
TOLVANE_COLD const hashedfunction* scopeentry::registerOnce(const hashedfunction*& function,
                                                            const char* signature,
                                                            registration_t registration)
{
    if (insidelibrary::isEntered()) {
        return &unregistered;
    }
    std::atomic<const hashedfunction*>& shared = tolvane::atomicRef(function);
    traceimpl& dispatcher = safesingleton<traceimpl>::instance();
    const instancelock lock(dispatcher.m_instanceMutex);
    const hashedfunction* known = shared.load(std::memory_order_acquire);
    if (!known) {
        known = &(dispatcher.*registration)(signature);
        shared.store(known, std::memory_order_release);
    }
    return known;
}

/// Who interrupts the library cannot be told which lines sinks take. All of them are noted as lost,
/// then, and counted by the levels of the sinks.
TOLVANE_COLD tracelevel_t scopeentry::findLevel(const hashedfunction& function)
{
    if (!insidelibrary::isEntered()) {
        return trace::level(function);
    }
    return safesingleton<traceimpl>::known() ? tl_trace : noLines;
}

/// Who interrupts the library cannot be told.
TOLVANE_COLD bool scopeentry::asksNow(const hashedfunction& function, tracelevel_t whenOpened,
                                      tracelevel_t level)
{
    if (insidelibrary::isEntered()) {
        return level <= whenOpened;
    }
    return level <= safesingleton<traceimpl>::instance().levelNow(function, whenOpened);
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
