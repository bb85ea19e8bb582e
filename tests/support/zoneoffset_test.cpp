#include "support/zoneoffset.h"

#include <catch2/catch.hpp>

namespace {

constexpr long long second = 1700000000;

int asked = 0;
long told = 0;

long ask(long long) noexcept
{
    ++asked;
    return told;
}

} // namespace

TEST_CASE("the zone's offset is asked for again in every second, and only then", "[support][clock]")
{
    tolvane::zonememory zone(ask);
    asked = 0;

    told = 19800;
    CHECK(zone.offset(second) == 19800);
    told = -10800;
    CHECK(zone.offset(second) == 19800);
    CHECK(asked == 1);
    CHECK(zone.offset(second + 1) == -10800);
    CHECK(zone.offset(second) == -10800);
    CHECK(asked == 3);
}

TEST_CASE("every offset of a zone is remembered as it was told", "[support][clock]")
{
    tolvane::zonememory zone(ask);
    long long now = second;
    for (const long offset : {0L, 1L, -1L, 19800L, 89999L, -86400L}) {
        told = offset;
        ++now;
        CHECK(zone.offset(now) == offset);
        CHECK(zone.offset(now) == offset);
    }
}

TEST_CASE("no second is remembered at first, and times before 1970 are like all others",
          "[support][clock]")
{
    for (const long long before1970 : {-1LL, 0LL, -3600LL}) {
        tolvane::zonememory zone(ask);
        asked = 0;
        told = -19800;
        CHECK(zone.offset(before1970) == -19800);
        CHECK(zone.offset(before1970) == -19800);
        CHECK(asked == 1);
    }
}
