#pragma once

#include "support/clock.h"

namespace fuzz {

/// A clock that shows what it is told, and does not go.
class handclock : public tolvane::Clock
{
public:
    unsigned long long ticks() const noexcept override { return milliseconds * 10000; }
    unsigned long long localMilliseconds() const noexcept override { return milliseconds; }
    unsigned long long monotonicMilliseconds() const noexcept override { return milliseconds; }
    void sleep(unsigned int) const noexcept override {}

    using Clock::localMilliseconds;

    unsigned long long milliseconds = 0; ///< since 1970, local
};

/// Has such a clock in use for as long as it lives.
class clockinuse
{
public:
    clockinuse() { tolvane::Clock::use(&get()); }
    ~clockinuse() { tolvane::Clock::use(nullptr); }

    clockinuse(const clockinuse&) = delete;
    clockinuse& operator=(const clockinuse&) = delete;

    void set(unsigned long long milliseconds) { get().milliseconds = milliseconds; }
    unsigned long long now() const { return get().milliseconds; }

private:
    /// Never destroyed: the library's end may look at it.
    static handclock& get()
    {
        static auto* const clock = new handclock;
        return *clock;
    }
};

} // namespace fuzz
