#include "support/clock.h"

#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <ctime>
#include <future>

using tolvane::Clock;

namespace {

constexpr unsigned long long ticksPerSecond = 10000000;

/// The local calendar's fields as the C library has them, as one number.
unsigned long long asNumber(const std::tm& fields)
{
    unsigned long long number = 0;
    for (const int field : {fields.tm_year, fields.tm_mon, fields.tm_mday, fields.tm_hour,
                            fields.tm_min, fields.tm_sec}) {
        number = number * 100 + static_cast<unsigned long long>(field % 100);
    }
    return number;
}

unsigned long long localNow()
{
    const std::time_t now = std::time(nullptr);
    return asNumber(*std::localtime(&now));
}

} // namespace

TEST_CASE("local milliseconds show the local calendar, whatever the time zone is",
          "[support][clock]")
{
    for (int attempt = 0;; ++attempt) {
        const unsigned long long before = localNow();
        std::tm fields = {};
        REQUIRE(Clock::calendar(Clock::platform().localMilliseconds() / 1000, fields));
        const unsigned long long after = localNow();

        // coarse clocks differ around the change of a second: then once more
        const bool between = before <= asNumber(fields) && asNumber(fields) <= after;
        if (between || attempt == 3) {
            CHECK(between);
            break;
        }
    }
}

TEST_CASE("local milliseconds differ from the system time by whole minutes", "[support][clock]")
{
    using namespace std::chrono;
    const auto utc = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const auto local = static_cast<long long>(Clock::platform().localMilliseconds());

    constexpr long long minute = 60000;
    const long long offset = local - utc + 100 * 60 * minute; // never negative
    const long long beyond = offset % minute;
    CHECK((beyond < 5000 || beyond > minute - 5000));
    CHECK(offset > 72 * 60 * minute);
    CHECK(offset < 128 * 60 * minute);
}

TEST_CASE("however often threads ask for it, the local millisecond is that of the system time",
          "[support][clock]")
{
    constexpr unsigned long long ticksPerMillisecond = ticksPerSecond / 1000;
    constexpr int readings = 200000; // some 20 milliseconds and more
    const Clock& clock = Clock::platform();
    const auto systemMillisecond = [&clock] { return clock.ticks() / ticksPerMillisecond; };
    const auto countWrong = [&] {
        unsigned long long difference = 0; // the zone, and where the ticks are counted from
        unsigned long long before = 0;
        unsigned long long after = 1;
        while (before != after) {
            before = systemMillisecond();
            difference = clock.localMilliseconds() - before;
            after = systemMillisecond();
        }
        int wrong = 0;
        for (int reading = 0; reading < readings; ++reading) {
            before = systemMillisecond();
            const unsigned long long shown = clock.localMilliseconds() - difference;
            after = systemMillisecond();
            wrong += shown < before || shown > after ? 1 : 0;
        }
        return wrong;
    };

    for (int attempt = 0;; ++attempt) {
        auto beside = std::async(std::launch::async, countWrong);
        const int wrong = countWrong() + beside.get();
        if (wrong == 0 || attempt == 3) { // somebody may set the clock meanwhile: then once more
            CHECK(wrong == 0);
            break;
        }
    }
}

TEST_CASE("ticks are 100 nanoseconds, and time goes on", "[support][clock]")
{
    const Clock& clock = Clock::platform();
    const auto steadyStart = std::chrono::steady_clock::now();
    const unsigned long long start = clock.ticks();

    clock.sleep(30);

    const unsigned long long passed = clock.ticks() - start;
    const auto steady = std::chrono::steady_clock::now() - steadyStart;
    CHECK(passed >= 25 * ticksPerSecond / 1000);
    CHECK(passed <=
          static_cast<unsigned long long>(
              std::chrono::duration_cast<std::chrono::milliseconds>(steady).count() + 50) *
              (ticksPerSecond / 1000));
}

TEST_CASE("sleeping takes at least its time", "[support][clock]")
{
    const auto start = std::chrono::steady_clock::now();

    Clock::platform().sleep(1010);

    CHECK(std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(1000));
}

TEST_CASE("calendar fields are those of UTC", "[support][clock]")
{
    std::tm fields = {};

    CHECK(Clock::calendar(1709647629, fields));

    CHECK(fields.tm_year == 124);
    CHECK(fields.tm_mon == 2);
    CHECK(fields.tm_mday == 5);
    CHECK(fields.tm_hour == 14);
    CHECK(fields.tm_min == 7);
    CHECK(fields.tm_sec == 9);
    CHECK(fields.tm_wday == 2);
    CHECK(fields.tm_yday == 64);
}

TEST_CASE("a time that has no calendar fields leaves them untouched", "[support][clock]")
{
    std::tm fields = {};
    fields.tm_mday = 17;
    fields.tm_hour = 5;

    CHECK_FALSE(Clock::calendar(~0ULL / 2, fields));

    CHECK(fields.tm_mday == 17);
    CHECK(fields.tm_hour == 5);
}

TEST_CASE("a clock that is put in use is the current one until it is taken out", "[support][clock]")
{
    {
        scriptedclock scripted;
        scripted.setLocalMilliseconds(12345);
        scripted.setTicks(678);

        CHECK(&Clock::current() != &Clock::platform());
        CHECK(Clock::current().localMilliseconds() == 12345);
        CHECK(Clock::current().ticks() == 678);
    }

    CHECK(&Clock::current() == &Clock::platform());
}

namespace {

/// Where the wall clock was an hour ahead until a second, and shows what UTC does from then on.
class changingzone : public Clock
{
public:
    unsigned long long ticks() const noexcept override { return 0; }
    using Clock::localMilliseconds;
    unsigned long long localMilliseconds() const noexcept override { return 0; }
    unsigned long long monotonicMilliseconds() const noexcept override { return 0; }
    void sleep(unsigned int) const noexcept override {}
    long zoneOffset(long long second) const noexcept override { return second < change ? 3600 : 0; }

    static constexpr long long change = 1000000;
};

constexpr long long nanoseconds = 1000000000; // a second

} // namespace

TEST_CASE("the moment of a local millisecond is as fine as what is about it", "[support][clock]")
{
    const changingzone clock;
    const long long moment = 500 * nanoseconds + 7000000; // in UTC
    const unsigned long long local = (500 + 3600) * 1000 + 7;

    CHECK(clock.utcOf(local, moment + 123456) == moment + 123456);
    CHECK(clock.utcOf(local, moment) == moment);
    CHECK(clock.utcOf(local, moment - 1) == moment);
    CHECK(clock.utcOf(local, moment + 999999) == moment + 999999);
    CHECK(clock.utcOf(local, moment + 1000000) == moment + 999999);
    CHECK(clock.utcOf(local, moment + 60 * nanoseconds) == moment + 999999);
}

TEST_CASE("of two moments that the wall clock shows alike the one that is near is meant",
          "[support][clock]")
{
    const changingzone clock;
    const long long second = changingzone::change + 5;
    const unsigned long long local = static_cast<unsigned long long>(second) * 1000;

    CHECK(clock.utcOf(local, second * nanoseconds + 1) == second * nanoseconds + 1);
    CHECK(clock.utcOf(local, (second - 3600) * nanoseconds + 1) ==
          (second - 3600) * nanoseconds + 1);
}

TEST_CASE("the platform's clock is that of the standard library", "[support][clock]")
{
    using namespace std::chrono;
    const auto now = [] {
        return duration_cast<std::chrono::nanoseconds>(system_clock::now().time_since_epoch())
            .count();
    };
    const long long before = now();
    const long long told = Clock::platform().utcNanoseconds();
    const long long after = now();

    CHECK(before - 1000 <= told); // it may count in steps
    CHECK(told <= after + 1000);
    CHECK(Clock::platform().utcOf(Clock::platform().localMilliseconds(), told) >= told - 1000000);
}
