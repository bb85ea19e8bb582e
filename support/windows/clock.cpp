#include "support/clock.h"

#include "support/windows/filetimes.h"
#include "support/zoneoffset.h"

#include <time.h>

namespace tolvane {

namespace {

constexpr unsigned long long nanosecondsPerTick = 100;

zonememory zone(zoneOffset);

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
        const unsigned long long utc = ticks() / ticksPerMillisecond - secondsTo1970 * 1000;
        const long long offset = zone.offset(static_cast<long long>(utc / 1000));
        return utc + static_cast<unsigned long long>(offset * 1000);
    }

    using Clock::localMilliseconds;

    long long utcNanoseconds() const noexcept override
    {
        return static_cast<long long>((ticks() - secondsTo1970 * 1000 * ticksPerMillisecond) *
                                      nanosecondsPerTick);
    }

    long zoneOffset(long long second) const noexcept override { return zone.offset(second); }

    unsigned long long monotonicMilliseconds() const noexcept override
    {
        LARGE_INTEGER pace = {};
        LARGE_INTEGER now = {};
        QueryPerformanceFrequency(&pace);
        QueryPerformanceCounter(&now);
        return static_cast<unsigned long long>(now.QuadPart / (pace.QuadPart / 1000));
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
