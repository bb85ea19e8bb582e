#include "support/posix/zoneoffset.h"

#include <atomic>

namespace tolvane {

long zoneOffset(time_t second) noexcept
{
    constexpr int offsetBits = 20;
    constexpr long bias = 1L << (offsetBits - 1); // so that the packed offset is never negative
    static std::atomic<long long> known{-1};      // the second, and below it the biased offset

    const long long remembered = known.load(std::memory_order_relaxed);
    if (remembered >> offsetBits == second) {
        return static_cast<long>(remembered & (2 * bias - 1)) - bias;
    }
    tm local = {};
    localtime_r(&second, &local);
    known.store((static_cast<long long>(second) << offsetBits) | (local.tm_gmtoff + bias),
                std::memory_order_relaxed);
    return local.tm_gmtoff;
}

} // namespace tolvane
