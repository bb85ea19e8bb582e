#include "support/zoneoffset.h"

#include "support/permanent.h"
#include "support/posix/zonelock.h"
#include "support/posix/zonewatch.h"

#include <time.h>

namespace tolvane {

namespace {

/// Lines are stamped until the very end of the process.
struct zone
{};

} // namespace

Mutex::Impl& zoneLock() noexcept
{
    return permanent<Mutex::Impl, zone>();
}

/// The C library reads the zone's rules once. That they have changed is for the watch to see.
long zoneOffset(long long second) noexcept
{
    const Auto_Lock<Mutex::Impl> turn(&zoneLock());
    auto& watch = permanent<ZoneWatch, zone>();
    long offset = 0;
    if (watch.look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local;
    offset = localtime_r(&time, &local) ? local.tm_gmtoff : 0;
    watch.remember(offset);
    return offset;
}

void ownZoneLock() noexcept
{
    zoneLock().adopt();
    zoneLock().unlock();
    permanent<ZoneWatch, zone>().afterFork();
}

} // namespace tolvane
