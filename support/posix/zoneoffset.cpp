#include "support/zoneoffset.h"

#include <time.h>

namespace tolvane {

long zoneOffset(long long second) noexcept
{
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace tolvane
