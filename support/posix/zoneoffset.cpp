#include "support/zoneoffset.h"

#include "support/posix/zonewatch.h"

#include <time.h>

namespace tolvane {

namespace {

/// Never destroyed: lines are stamped until the very end of the process.
union forever {
    constexpr forever() noexcept : watch() {}
    ~forever() {}

    forever(const forever&) = delete;
    forever& operator=(const forever&) = delete;

    ZoneWatch watch;
};

forever zone;

} // namespace

/// The C library reads the zone's rules once. That they have changed is for the watch to see.
long zoneOffset(long long second) noexcept
{
    long offset = 0;
    if (zone.watch.look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace tolvane
