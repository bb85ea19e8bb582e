#include "support/clock.h"

#include "support/zoneoffset.h"

#include <time.h>

namespace tolvane {

namespace {

constexpr unsigned long long ticksPerSecond = 10000000;
constexpr unsigned long long nanosecondsPerTick = 100;
constexpr long nanosecondsPerMillisecond = 1000000;
constexpr long long nanosecondsPerSecond = 1000000000;

zonememory zone(zoneOffset);

timespec timeOf(clockid_t clock) noexcept
{
    timespec now = {};
    clock_gettime(clock, &now);
    return now;
}

class PosixClock : public Clock
{
public:
    unsigned long long ticks() const noexcept override
    {
        const timespec now = timeOf(CLOCK_REALTIME);
        return static_cast<unsigned long long>(now.tv_sec) * ticksPerSecond +
               static_cast<unsigned long long>(now.tv_nsec) / nanosecondsPerTick;
    }

    unsigned long long localMilliseconds() const noexcept override
    {
        unsigned long long nanosecondsLeft = 0;
        return localMilliseconds(nanosecondsLeft);
    }

    unsigned long long
    localMilliseconds(unsigned long long& nanosecondsLeft) const noexcept override
    {
        const timespec now = timeOf(CLOCK_REALTIME);
        nanosecondsLeft = static_cast<unsigned long long>(nanosecondsPerMillisecond -
                                                          now.tv_nsec % nanosecondsPerMillisecond);
        return static_cast<unsigned long long>(now.tv_sec + zone.offset(now.tv_sec)) * 1000 +
               static_cast<unsigned long long>(now.tv_nsec / nanosecondsPerMillisecond);
    }

    long long utcNanoseconds() const noexcept override
    {
        const timespec now = timeOf(CLOCK_REALTIME);
        return static_cast<long long>(now.tv_sec) * nanosecondsPerSecond + now.tv_nsec;
    }

    long zoneOffset(long long second) const noexcept override { return zone.offset(second); }

    unsigned long long monotonicMilliseconds() const noexcept override
    {
        const timespec now = timeOf(CLOCK_MONOTONIC);
        return static_cast<unsigned long long>(now.tv_sec) * 1000 +
               static_cast<unsigned long long>(now.tv_nsec / nanosecondsPerMillisecond);
    }

    void sleep(unsigned int milliseconds) const noexcept override
    {
        timespec left = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * nanosecondsPerMillisecond};
        while (nanosleep(&left, &left) != 0) {
            // woken by a signal: sleep the rest
        }
    }
};

} // namespace

/// Never destroyed: lines are stamped until the very end of the process.
const Clock& Clock::platform() noexcept
{
    static const Clock* const clock = new PosixClock;
    return *clock;
}

bool Clock::calendar(unsigned long long seconds, std::tm& fields) noexcept
{
    std::tm result = {};
    const auto time = static_cast<time_t>(seconds);
    if (!gmtime_r(&time, &result)) {
        return false;
    }
    fields = result;
    return true;
}

} // namespace tolvane
