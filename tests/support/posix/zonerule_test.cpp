#include "support/posix/zonerule.h"

#include "tests/helpers/posix/zoneguard.h"

#include <catch2/catch.hpp>

#include <time.h>

using tolvane::ZoneRule;

namespace {

long offsetOfTheSystem(long long second)
{
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace

TEST_CASE("a zone's rule gives what the C library gives, in every hour of years of all kinds",
          "[support][clock]")
{
    const zoneguard guard;
    for (const char* const rule :
         {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "<+0530>-5:30",
          "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "AEST-10AEDT,M10.1.0,M4.1.0/3",
          "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "IST-1GMT0,M10.5.0,M3.5.0/1",
          "EET-2EEST,M3.4.4/50,M10.4.4/50", "ABC3:30:15DEF-1:00:01,J60/2:30:10,J300/-2",
          "ABC-24:59:59", "ABC-5DEF,59/12,364/1", "ABC-2DEF,M2.5.6,M12.1.1"}) {
        CAPTURE(rule);
        zoneguard::enter(rule);
        ZoneRule parsed;
        REQUIRE(parsed.parse(rule));
        for (const int year : {1970, 2000, 2023, 2024, 2037, 2038, 2100}) {
            const long long start = (year - 1970) * 31556952LL;
            for (long long second = start; second < start + 366 * 86400; second += 1800) {
                if (parsed.offset(second) != offsetOfTheSystem(second)) {
                    CAPTURE(second);
                    CHECK(parsed.offset(second) == offsetOfTheSystem(second));
                }
            }
        }
    }
}

TEST_CASE("a zone's rule changes to the second", "[support][clock]")
{
    ZoneRule rule;
    REQUIRE(rule.parse("EST5EDT,M3.2.0,M11.1.0"));

    CHECK(rule.offset(1710053999) == -18000);
    CHECK(rule.offset(1710054000) == -14400);
    CHECK(rule.offset(1730613599) == -14400);
    CHECK(rule.offset(1730613600) == -18000);
}

TEST_CASE("what is no rule is refused", "[support][clock]")
{
    for (const char* const text :
         {"", "CET", "-1", "<CET-1", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0",
          "CET-1CEST,M3.6.0,M10.5.0", "CET-1CEST,M3.5.7,M10.5.0", "CET-1CEST,M3.5,M10.5.0",
          "CET-1CEST,M3.5.0,M10.5.0/", "CET-1CEST,M3.5.0,M10.5.0/3x", "CET-1:x", "Europe/Berlin",
          "CET-1CEST,J,M10.5.0", "CET-123456"}) {
        CAPTURE(text);
        CHECK_FALSE(ZoneRule().parse(text));
    }
}
