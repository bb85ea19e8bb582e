#include "support/posix/lastmillisecond.h"

#include <catch2/catch.hpp>

using tolvane::lastmillisecond;

namespace {

constexpr time_t second = 1700000000;
constexpr long millisecond = 1000000;            ///< nanoseconds
constexpr unsigned long long start = 5000000000; ///< cycles
constexpr unsigned long long shown = 4711;

constexpr timespec tick{second, 45 * millisecond}; ///< the last one, and none comes

/// Read 0.6 milliseconds after the beginning of the 45th.
lastmillisecond readInTheMiddle()
{
    lastmillisecond last;
    last.remember(start, {second, 45 * millisecond + 600000}, shown);
    return last;
}

} // namespace

TEST_CASE("no millisecond lasts before one was read", "[support][clock]")
{
    CHECK_FALSE(lastmillisecond().lasts(0, {0, 0}));
    CHECK_FALSE(lastmillisecond().lasts(start, tick));
}

TEST_CASE("a millisecond lasts for as many cycles as the slowest processor counts until its end",
          "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK(last.shown() == shown);
    CHECK(last.lasts(start, tick));
    CHECK(last.lasts(start + 199999, tick)); // of 0.4 milliseconds, at 0.5 GHz
    CHECK_FALSE(last.lasts(start + 200000, tick));
}

TEST_CASE("a millisecond has ended when the cycles are counted anew", "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK_FALSE(last.lasts(start - 1, tick));
    CHECK_FALSE(last.lasts(0, tick));
}

TEST_CASE("a millisecond has ended when a tick says so, whatever the cycles say",
          "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK(last.lasts(start, {second, 46 * millisecond - 1}));
    CHECK_FALSE(last.lasts(start, {second, 46 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second + 1, 0}));
    CHECK(last.lasts(start, {second, 25 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second, 25 * millisecond - 1})); // the clock was set back
    CHECK_FALSE(last.lasts(start, {second - 3600, 0}));
}

TEST_CASE("the last millisecond of a second ends with the second", "[support][clock]")
{
    lastmillisecond last;
    last.remember(start, {second, 1000 * millisecond - 10}, shown);

    CHECK(last.lasts(start + 4, {second, 999 * millisecond}));
    CHECK_FALSE(last.lasts(start + 5, {second, 999 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second + 1, 0}));
}
