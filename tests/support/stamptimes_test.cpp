#include "support/stamptimes.h"

#include "support/clock.h"

#include <catch2/catch.hpp>

namespace {

/// A clock that shows what a test has set.
class setclock : public tolvane::Clock
{
public:
    setclock() { use(this); }
    ~setclock() override { use(nullptr); }

    unsigned long long ticks() const noexcept override { return 0; }
    using tolvane::Clock::localMilliseconds;
    unsigned long long localMilliseconds() const noexcept override { return 0; }
    unsigned long long monotonicMilliseconds() const noexcept override { return 0; }
    void sleep(unsigned int) const noexcept override {}
    long long utcNanoseconds() const noexcept override { return now; }

    long long now = 0;
};

} // namespace

TEST_CASE("the time of a stamp lies between those of two others as the stamp does", "[support]")
{
    setclock clock;
    tolvane::StampTimes times;
    clock.now = 1700000000000000000;
    times.mark(5000);
    clock.now += 1000;
    times.mark(8000); // three a nanosecond

    CHECK(times.at(5000) == 1700000000000000000);
    CHECK(times.at(5300) == 1700000000000000100);
    CHECK(times.at(7997) == 1700000000000000999);
    CHECK(times.at(8000) == 1700000000000001000);
    CHECK(times.at(8600) == 1700000000000001200);

    clock.now += 500;
    times.mark(8500); // one a nanosecond
    CHECK(times.at(8400) == 1700000000000001400);
}

TEST_CASE("where stamps stand still or go back the last time is told", "[support]")
{
    setclock clock;
    tolvane::StampTimes times;
    clock.now = 1000;
    times.mark(700);
    clock.now = 2000;
    times.mark(700);
    CHECK(times.at(700) == 2000);

    times.mark(600);
    CHECK(times.at(650) == 2000);
}
