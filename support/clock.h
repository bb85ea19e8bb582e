#pragma once

#include <ctime>

namespace tolvane {

/// Time as the library sees it; tests put one of their own in its place.
///
/// All members may be called from any thread.
class Clock
{
public:
    virtual ~Clock() = default;

    /// System time in ticks of 100 nanoseconds, from an origin that does not change while the
    /// process lives.
    virtual unsigned long long ticks() const noexcept = 0;

    /// Milliseconds since 1970-01-01 00:00:00 on the local wall clock, daylight saving included,
    /// truncated.
    virtual unsigned long long localMilliseconds() const noexcept = 0;

    /// Lets the calling thread sleep for at least this long.
    virtual void sleep(unsigned int milliseconds) const noexcept = 0;

    /// The clock in use.
    static const Clock& current() noexcept;

    /// Puts another clock in use; it must live as long as any thread of the library. Null: the
    /// platform's.
    static void use(const Clock* clock) noexcept;

    /// The platform's clock.
    static const Clock& platform() noexcept;

    /// Calendar fields in UTC of a number of seconds since 1970.
    /// \return false, with fields untouched, when the platform cannot tell them.
    static bool calendar(unsigned long long seconds, std::tm& fields) noexcept;
};

} // namespace tolvane
