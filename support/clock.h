#pragma once

#include <ctime>

namespace tolvane {

class AutoResetEvent;

/// Of Clock::ticks().
constexpr unsigned long long ticksPerMillisecond = 10000;

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

    /// The same, and how long the clock will certainly show this millisecond unless it is set.
    /// \param nanosecondsLeft  0 where that is not known.
    virtual unsigned long long localMilliseconds(unsigned long long& nanosecondsLeft) const noexcept
    {
        nanosecondsLeft = 0;
        return localMilliseconds();
    }

    /// Nanoseconds since 1970 UTC, as exactly as the system tells; 0 where that is not known.
    virtual long long utcNanoseconds() const noexcept { return 0; }

    /// Seconds by which the local wall clock is ahead at a time, given in seconds since 1970 UTC.
    virtual long zoneOffset(long long) const noexcept { return 0; }

    /// The moment, in nanoseconds since 1970 UTC, that the local wall clock showed as a number of
    /// milliseconds.
    /// \param about  about that moment, in the same unit: tells what is finer than a millisecond,
    ///               and which of two hours it is when clocks are set back.
    long long utcOf(unsigned long long localMilliseconds, long long about) const noexcept;

    /// Milliseconds from an origin that does not change while the process lives, on a clock that
    /// nobody sets.
    virtual unsigned long long monotonicMilliseconds() const noexcept = 0;

    /// Lets the calling thread sleep for at least this long.
    virtual void sleep(unsigned int milliseconds) const noexcept = 0;

    /// Waits until an event is set, but at most this long.
    /// \return false when the time was up.
    virtual bool wait(AutoResetEvent& event, unsigned int milliseconds) const noexcept;

    /// The clock in use.
    static const Clock& current() noexcept;

    /// Whether that is another one than the platform's.
    static bool isReplaced() noexcept;

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
