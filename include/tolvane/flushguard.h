#pragma once

#include <tolvane/export.h>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Writes what waits when it ends. Make one at the begin of main:
///
///     int main()
///     {
///         const tolvane::FlushGuard guard;
///         ...
///     }
///
/// However main is left, by return or by an exception that its caller catches, all lines that any
/// thread has traced by then are in the sinks. Without it Windows loses some: it ends all other
/// threads, the library's writer included, before the library hears of the end. Lines that other
/// threads trace later, and those of destructors of static objects, are not the guard's; nor is the
/// end of a process by std::exit, which leaves main's objects alone: let a guard of a block end
/// before.
class TOLVANE_EXPORT FlushGuard
{
public:
    /// Milliseconds.
    static constexpr unsigned long long usualPatience = 10000;

    /// \param milliseconds  the longest that the end waits, for sinks that are stuck. Those that
    ///                      are not need a fraction of a second.
    explicit FlushGuard(unsigned long long milliseconds = usualPatience) noexcept
        : m_milliseconds(milliseconds)
    {}

    /// Waits until the lines that were traced by then, by any thread, have been handed to the sinks
    /// or counted as lost, but not longer than was said. Within a sink's own call it does not wait.
    ///
    /// Throws nothing: without memory, lines that this thread would have to write itself are lost;
    /// a hardware fault of a sink in which it runs thereby is reported, and does not end the
    /// thread.
    ~FlushGuard();

    FlushGuard(const FlushGuard&) = delete;
    FlushGuard& operator=(const FlushGuard&) = delete;

private:
    const unsigned long long m_milliseconds;
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
