#pragma once

#include "tests/helpers/allocations.h"
#include "tests/helpers/traceimpltest.h"

#include <new>
#include <string>
#include <vector>

/// A dispatcher whose writer does not start, so that a test sees the queue.
struct quietdispatcher
{
    quietdispatcher() { traceimpltest::running(dispatcher) = false; }

    void queue(tracelevel_t level, const wchar_t* text)
    {
        traceimpltest::queue(dispatcher, function, level, text);
    }

    void queue(int count, tracelevel_t level, const wchar_t* text)
    {
        for (int index = 0; index < count; ++index) {
            queue(level, text);
        }
    }

    /// Queues a line while allocations fail, but for so many.
    /// \return whether it was queued; if not, unqueued is what became of its text.
    bool queueWithoutMemory(unsigned long long allocationsBefore)
    {
        tolvane::string text(L"without memory");
        try {
            const allocations::failure noMemory(allocationsBefore);
            dispatcher.queueLine(tl_error, function, text);
        } catch (const std::bad_alloc&) {
            unqueued = text.c_str();
            return false;
        }
        return true;
    }

    std::vector<std::wstring> texts() { return traceimpltest::texts(dispatcher); }

    traceimpl dispatcher;
    std::wstring unqueued;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
};
