#include "support/zoneoffset.h"

#include "support/posix/zonewatch.h"

#include <time.h>

#include <new>

namespace tolvane {

namespace {

/// Never destroyed: lines are stamped until the very end of the process.
ZoneWatch& theWatch() noexcept
{
    alignas(ZoneWatch) static unsigned char memory[sizeof(ZoneWatch)];
    static auto* const watch = new (memory) ZoneWatch;
    return *watch;
}

} // namespace

/// The C library reads the zone's rules once. That they have changed is for the watch to see.
long zoneOffset(long long second) noexcept
{
    long offset = 0;
    if (theWatch().look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace tolvane
