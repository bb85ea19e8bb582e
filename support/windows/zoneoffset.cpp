#include "support/zoneoffset.h"

#include "support/windows/filetimes.h"

namespace tolvane {

/// By the daylight saving time of now, as the platform shows all file times.
long zoneOffset(long long second) noexcept
{
    const unsigned long long ticks =
        (static_cast<unsigned long long>(second) + secondsTo1970) * ticksPerSecond;
    const FILETIME time = toFileTime(ticks);
    FILETIME local;
    if (!FileTimeToLocalFileTime(&time, &local)) {
        return 0; // a stamp in UTC is better than none
    }
    const auto ahead = static_cast<long long>(toTicks(local) - ticks);
    return static_cast<long>(ahead / static_cast<long long>(ticksPerSecond));
}

} // namespace tolvane
