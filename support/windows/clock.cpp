#include "support/clock.h"

#include "support/windows/platform.h"

#include <time.h>

namespace tolvane {

namespace {

constexpr unsigned long long ticksPerMillisecond = 10000;

/// Milliseconds from 1601, where the platform's file times begin, to 1970.
constexpr unsigned long long millisecondsTo1970 = 11644473600000;

unsigned long long toTicks(const FILETIME& time) noexcept
{
    return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

class WindowsClock : public Clock
{
public:
    unsigned long long ticks() const noexcept override
    {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        return toTicks(now);
    }

    unsigned long long localMilliseconds() const noexcept override
    {
        FILETIME now;
        FILETIME local;
        GetSystemTimeAsFileTime(&now);
        if (!FileTimeToLocalFileTime(&now, &local)) {
            local = now; // a stamp in UTC is better than none
        }
        return toTicks(local) / ticksPerMillisecond - millisecondsTo1970;
    }

    void sleep(unsigned int milliseconds) const noexcept override { Sleep(milliseconds); }
};

} // namespace

/// Never destroyed: lines are stamped until the very end of the process.
const Clock& Clock::platform() noexcept
{
    static const Clock* const clock = new WindowsClock;
    return *clock;
}

bool Clock::calendar(unsigned long long seconds, std::tm& fields) noexcept
{
    std::tm result = {};
    const auto time = static_cast<__time64_t>(seconds);
    if (_gmtime64_s(&result, &time) != 0) {
        return false;
    }
    fields = result;
    return true;
}

} // namespace tolvane
