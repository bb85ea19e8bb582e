#include "support/posix/zoneoffset.h"

#include "support/coldpath.h"

#include <atomic>

namespace tolvane {

namespace {

constexpr int offsetBits = 20;
constexpr long bias = 1L << (offsetBits - 1); ///< so that the packed offset is never negative

std::atomic<long long> known{-1}; ///< the second, and below it the biased offset

TOLVANE_COLD long askZone(time_t second) noexcept
{
    tm local = {};
    localtime_r(&second, &local);
    known.store((static_cast<long long>(second) << offsetBits) | (local.tm_gmtoff + bias),
                std::memory_order_relaxed);
    return local.tm_gmtoff;
}

} // namespace

long zoneOffset(time_t second) noexcept
{
    const long long remembered = known.load(std::memory_order_relaxed);
    return remembered >> offsetBits == second
               ? static_cast<long>(remembered & (2 * bias - 1)) - bias
               : askZone(second);
}

} // namespace tolvane
