#pragma once

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "sinks/levelgeneration.h"
#include "stacktrace/callstack.h"
#include "support/atomicref.h"
#include "trace/traceimpl.h"

#include <atomic>
#include <new>

// What a scope does beside its stream, to be compiled into its construction and its end.

/// The steps of entering and leaving a traced function.
class scopeentry
{
public:
    /// All that has to be done for most functions: one that was visited before, on a thread that
    /// was here before and has a free slot, and without an entry line.
    ///
    /// \param before  gets how many functions were on the stack.
    /// \return where their number is kept; null when nothing was done.
    static unsigned long long* enterQuietly(const hashedfunction* function, tracelevel_t& level,
                                            unsigned long long& before)
    {
        stacktrace* const mine = stacktrace::knownTrace();
        if (!function || !mine || !function->remembersLevel(level) || level >= tl_trace ||
            !mine->pushWithin(function, before)) {
            return nullptr;
        }
        return &mine->m_count;
    }

    /// The end of such a one.
    static bool leaveQuietly(tracelevel_t level) noexcept
    {
        stacktrace* const mine = stacktrace::knownTrace();
        if (!mine || level >= tl_trace) {
            return false;
        }
        mine->pop();
        return true;
    }

    /// The call site's function, null before the first visit.
    static const hashedfunction* known(const hashedfunction*& function) noexcept
    {
        return tolvane::atomicRef(function).load(std::memory_order_acquire);
    }

    /// The call site's function, which is registered and remembered there on the first visit.
    static const hashedfunction* registered(const hashedfunction*& function, const char* signature)
    {
        const hashedfunction* const visited = known(function);
        return visited ? visited : registerOnce(function, signature, &traceimpl::registerfunction);
    }

    /// The same with a name in plain form, see plainName().
    static const hashedfunction* registeredPlainly(const hashedfunction*& function,
                                                   const char* signature)
    {
        const hashedfunction* const visited = known(function);
        return visited ? visited : registerOnce(function, signature, &traceimpl::registerscope);
    }

    /// The function's effective level.
    static tracelevel_t level(const hashedfunction& function)
    {
        tracelevel_t remembered = tl_always;
        return function.remembersLevel(remembered) ? remembered : findLevel(function);
    }

    /// Pushes the function onto the thread's stack and queues the entry line, if a sink takes it.
    ///
    /// \return the function's effective level.
    ///
    /// Throws when there is no memory; the stack is then as it was.
    static tracelevel_t enter(const hashedfunction* function)
    {
        const tracelevel_t level = scopeentry::level(*function);
        stacktrace::pushMine(function);
        if (level >= tl_trace) {
            queueEntry(*function);
        }
        return level;
    }

    /// Pops the thread's stack and queues the exit line, if a sink took it at this level.
    static void leave(const hashedfunction* function, tracelevel_t level) noexcept
    {
        try {
            stacktrace::popMine();
        } catch (const std::bad_alloc&) {
            // no memory to find this thread's stack: a scope that another thread opened is not on
            // it
        }
        if (level >= tl_trace) {
            queueExit(*function);
        }
    }

    /// Whether some sink takes lines of this level, when levels or sinks have changed.
    /// \param whenOpened  the function's level when its scope was opened.
    static bool asksNow(const hashedfunction& function, tracelevel_t whenOpened,
                        tracelevel_t level);

private:
    using registration_t = const hashedfunction& (traceimpl::*)(const char* signature);

    static const hashedfunction* registerOnce(const hashedfunction*& function,
                                              const char* signature, registration_t registration);
    static tracelevel_t findLevel(const hashedfunction& function);
    static void queueEntry(const hashedfunction& function);
    static void queueExit(const hashedfunction& function) noexcept;
};
