#pragma once

#include <tolvane/stacktrace.h>

#include "stacktrace/callstack.h"
#include "stacktrace/registry.h"
#include "support/mutex.h"

#include <cstddef>
#include <list>

/// Looks into the registry of all threads.
struct stacktracetest
{
    using registry = stacktrace::Registry;
    using entry = stacktrace::Entry;

    /// How many threads have been there.
    static std::size_t threads()
    {
        const tolvane::Auto_Mutex lock(stacktrace::m_staticmutex());
        return stacktrace::m_alltraces().size();
    }

    static bool knows(unsigned int threadId)
    {
        const tolvane::Auto_Mutex lock(stacktrace::m_staticmutex());
        return stacktrace::m_alltraces().knows(threadId);
    }

    /// Whether more than its number is kept of a thread.
    static bool hasEntry(unsigned int threadId)
    {
        const tolvane::Auto_Mutex lock(stacktrace::m_staticmutex());
        return stacktrace::m_alltraces().find(threadId) != nullptr;
    }

    /// Empties the stack that an ended thread has left, which must not confuse a later thread.
    static void empty(unsigned int threadId)
    {
        const tolvane::Auto_Mutex lock(stacktrace::m_staticmutex());
        stacktrace::m_alltraces().find(threadId)->clear();
    }

    static tolvane::Mutex& mutex() { return stacktrace::m_staticmutex(); }

    static void push(stacktrace& stack, const hashedfunction* function) { stack.push(function); }
    static void pop(stacktrace& stack) { stack.pop(); }

    /// How many functions the stack has room for.
    static unsigned long long room(const stacktrace& stack)
    {
        const stacktrace::Block* const block = tolvane::atomicRef(stack.m_functions).load();
        return block ? block->size : 0;
    }

    static std::list<stacktrace> copies(const registry& all)
    {
        std::list<stacktrace> traces;
        all.copyTo(traces);
        return traces;
    }
};
