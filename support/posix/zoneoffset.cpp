#include "support/zoneoffset.h"

#include "support/posix/zonewatch.h"

#include <time.h>

namespace tolvane {

namespace {

ZoneWatch watch;

} // namespace

/// The C library reads the zone's rules once. That they have changed is for the watch to see.
long zoneOffset(long long second) noexcept
{
    long offset = 0;
    if (watch.look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace tolvane
