#include "support/zoneoffset.h"

#include "support/posix/zonelock.h"
#include "support/posix/zonewatch.h"

#include <time.h>

#include <new>

namespace tolvane {

namespace {

/// An object that is never destroyed: lines are stamped until the very end of the process.
template <class object_t>
object_t& permanent() noexcept
{
    alignas(object_t) static unsigned char memory[sizeof(object_t)];
    static auto* const made = new (memory) object_t;
    return *made;
}

} // namespace

Mutex::Impl& zoneLock() noexcept
{
    return permanent<Mutex::Impl>();
}

/// The C library reads the zone's rules once. That they have changed is for the watch to see.
long zoneOffset(long long second) noexcept
{
    const Auto_Lock<Mutex::Impl> turn(&zoneLock());
    long offset = 0;
    if (permanent<ZoneWatch>().look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local;
    return localtime_r(&time, &local) ? local.tm_gmtoff : 0;
}

} // namespace tolvane
