#include "support/zoneoffset.h"

#include "tests/helpers/posix/zoneguard.h"

#include <catch2/catch.hpp>

#include <utility>

namespace {

constexpr time_t second = 1700000000;

} // namespace

TEST_CASE("the zone's offset follows daylight saving time to the second", "[support][clock]")
{
    constexpr time_t springForward = 1710054000; // 2024-03-10 02:00 in New York
    constexpr time_t fallBack = 1730613600;      // 2024-11-03 02:00 there
    const zoneguard guard;
    zoneguard::enter("EST5EDT,M3.2.0,M11.1.0");

    CHECK(tolvane::zoneOffset(springForward - 1) == -18000);
    CHECK(tolvane::zoneOffset(springForward) == -14400);
    CHECK(tolvane::zoneOffset(fallBack - 1) == -14400);
    CHECK(tolvane::zoneOffset(fallBack) == -18000);
}

TEST_CASE("zones beyond the dateline and half hours off have their offset", "[support][clock]")
{
    const zoneguard guard;
    for (const auto& [zone, offset] :
         {std::pair("ABC-24:59:59", 89999L), std::pair("ABC+24", -86400L), std::pair("UTC0", 0L),
          std::pair("ABC-5:30", 19800L), std::pair("ABC0:00:01", -1L)}) {
        zoneguard::enter(zone);
        CHECK(tolvane::zoneOffset(second) == offset);
    }
}
