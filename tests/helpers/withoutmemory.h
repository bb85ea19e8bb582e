#pragma once

#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/remembersink.h"

#include <functional>
#include <new>
#include <optional>
#include <thread>

// A thread needs memory for its first line, and none for those that follow soon. So each of these
// runs in a thread of its own.

/// Opens a scope in a thread that has no memory for its entry line.
/// \return whether that failed, the line was counted as lost, and the thread's stack is empty again.
inline bool withoutMemoryForItsEntryLine(const std::function<void()>& open)
{
    const remembersink sink;
    const attached attachment(sink, tl_trace);
    const unsigned long long lost = trace::lost(trace::noMemory);
    bool failed = false;
    bool isEmpty = false;
    std::thread([&] {
        stacktrace::getTrace(); // it knows its stack, and has a block for it
        stacktrace::down(nullptr);
        stacktrace::up();
        {
            const allocations::failure failing;
            try {
                open();
            } catch (const std::bad_alloc&) {
                failed = true;
            }
        }
        isEmpty = stacktrace::getTrace().size() == 0;
    }).join();
    trace::sync(10000);
    return failed && isEmpty && trace::lost(trace::noMemory) == lost + 1 && sink.count() == 0;
}

/// Closes a scope when there is no memory for its exit line, the thread's first line.
/// \param use  makes a scope, calls the first function, resets the scope, calls the second one, and
///             closes the scope.
/// \return whether the line was counted as lost.
inline bool withoutMemoryForItsExitLine(
    const std::function<void(const std::function<void()>&, const std::function<void()>&)>& use)
{
    const remembersink sink;
    const attached attachment(sink, tl_debug);
    const unsigned long long lost = trace::lost(trace::noMemory);
    std::thread([&] {
        std::optional<allocations::failure> failing;
        use([] { trace::setLevel(tl_trace); }, [&failing] { failing.emplace(); });
    }).join();
    trace::sync(10000);
    return trace::lost(trace::noMemory) == lost + 1 && sink.count() == 0;
}
