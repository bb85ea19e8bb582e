#include <tolvane/callsite.h>

#include <tolvane/scope.h>

#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/tracedtest.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

/// Of so many questions, the numbers of those that were answered by yes.
std::vector<int> answered(int questions, const std::function<bool()>& ask)
{
    std::vector<int> numbers;
    for (int number = 1; number <= questions; ++number) {
        if (ask()) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

using numbers_t = std::vector<int>;

/// Each template instance is a place of its own.
template <int number>
void traceFirst(tolvane::scope& log)
{
    TOLVANE_LOG_FIRST_N(log, tl_info, 1) << number;
}

} // namespace

TEST_CASE("a place tells its first times", "[trace]")
{
    tolvane::callsite place;
    CHECK(answered(6, [&] { return place.isAmongFirst(3); }) == numbers_t{1, 2, 3});

    tolvane::callsite never;
    CHECK(answered(3, [&] { return never.isAmongFirst(0); }).empty());
    tolvane::callsite always;
    CHECK(answered(3, [&] {
              return always.isAmongFirst(std::numeric_limits<unsigned long long>::max());
          }).size() == 3);
}

TEST_CASE("a place tells its first and then every n-th time", "[trace]")
{
    tolvane::callsite place;
    CHECK(answered(9, [&] { return place.isEvery(4); }) == numbers_t{1, 5, 9});

    for (const unsigned long long n : {0ULL, 1ULL}) {
        tolvane::callsite always;
        CHECK(answered(3, [&] { return always.isEvery(n); }) == numbers_t{1, 2, 3});
    }
}

TEST_CASE("a place tells when so much time has passed since it did so last", "[trace]")
{
    scriptedclock clock;
    tolvane::callsite place;
    const auto askAfter = [&](unsigned int milliseconds) {
        tolvane::Clock::current().sleep(milliseconds);
        return place.isDue(100);
    };

    CHECK(place.isDue(100));
    CHECK_FALSE(place.isDue(100));
    CHECK_FALSE(askAfter(99));
    CHECK(askAfter(1));
    CHECK_FALSE(askAfter(99));
    CHECK(askAfter(1000));
    CHECK_FALSE(askAfter(50));
    CHECK(place.isDue(0));
}

TEST_CASE("of threads that come to a place at once, one finds that time has passed", "[trace]")
{
    scriptedclock clock;
    tolvane::callsite place;
    bool isOvertaken = false;
    int due = 0;
    clock.whenAsked([&] {
        if (!isOvertaken) {
            isOvertaken = true;
            tolvane::Clock::current().sleep(1);
            due += place.isDue(100) ? 1 : 0;
        }
    });

    due += place.isDue(100) ? 1 : 0;

    CHECK(isOvertaken);
    CHECK(due == 1);
}

TEST_CASE("a number of any type is how many times a place is asked for", "[trace]")
{
    using tolvane::callsite;

    CHECK(callsite::count(3) == 3);
    CHECK(callsite::count(std::string("four").size()) == 4);
    CHECK(callsite::count(2.5) == 2);
    CHECK(callsite::count(0) == 0);
    CHECK(callsite::count(-1) == 0);
    CHECK(callsite::count(std::numeric_limits<long long>::min()) == 0);
    CHECK(callsite::count(std::numeric_limits<unsigned long long>::max()) == ~0ULL);
    CHECK(callsite::count(true) == 1);
}

TEST_CASE("threads at one place share its times", "[trace]")
{
    constexpr int questions = 10000;
    constexpr int threads = 4;
    tolvane::callsite firsts;
    tolvane::callsite every;
    tolvane::callsite once;
    std::atomic<int> amongFirst{0};
    std::atomic<int> nth{0};
    std::atomic<int> due{0};
    std::vector<std::thread> askers;
    for (int thread = 0; thread < threads; ++thread) {
        askers.emplace_back([&] {
            for (int question = 0; question < questions; ++question) {
                amongFirst += firsts.isAmongFirst(100) ? 1 : 0;
                nth += every.isEvery(8) ? 1 : 0;
                due += once.isDue(1000000) ? 1 : 0;
            }
        });
    }
    for (std::thread& asker : askers) {
        asker.join();
    }

    CHECK(amongFirst == 100);
    CHECK(nth == threads * questions / 8);
    CHECK(due == 1);
}

TEST_CASE("a line under a condition is made when the condition holds", "[trace]")
{
    const tracedtest traced;
    TOLVANE_SCOPE(log);

    for (int number = 0; number < 4; ++number) {
        TOLVANE_LOG_IF(log, tl_info, number % 2 == 1) << "odd " << number;
    }

    CHECK(traced.queue.texts() == texts_t{L"odd 1", L"odd 3"});
}

TEST_CASE("lines are made not every time that their statement is reached", "[trace]")
{
    const tracedtest traced;
    scriptedclock clock;
    TOLVANE_SCOPE(log);

    for (int number = 0; number < 5; ++number) {
        TOLVANE_LOG_FIRST_N(log, tl_info, 2) << "first " << number;
        TOLVANE_LOG_EVERY_N(log, tl_info, 3) << "every " << number;
        TOLVANE_LOG_EVERY_MS(log, tl_info, 20) << "due " << number;
        tolvane::Clock::current().sleep(10);
    }

    CHECK(traced.queue.texts() ==
          texts_t{L"first 0", L"every 0", L"due 0", L"first 1", L"due 2", L"every 3", L"due 4"});
}

TEST_CASE("a suppressed line evaluates and counts nothing", "[trace]")
{
    const tracedtest traced;
    const auto unreached = [] {
        FAIL("was evaluated");
        return 1;
    };
    const auto trace = [&](tracelevel_t level) {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG_FIRST_N(log, level, level == tl_debug ? unreached() : 1) << "first";
        TOLVANE_LOG_EVERY_N(log, level, level == tl_debug ? unreached() : 2) << "every";
        TOLVANE_LOG_EVERY_MS(log, level, level == tl_debug ? unreached() : 100000) << "due";
        TOLVANE_LOG_IF(log, level, level == tl_debug ? unreached() != 0 : true) << "if";
    };

    trace(tl_debug);
    CHECK(traced.queue.texts().empty());

    trace(tl_info);
    CHECK(traced.queue.texts() == texts_t{L"first", L"every", L"due", L"if"});
}

TEST_CASE("a condition that does not hold evaluates no operand", "[trace]")
{
    const tracedtest traced;
    TOLVANE_SCOPE(log);
    int evaluated = 0;

    TOLVANE_LOG_IF(log, tl_info, false) << ++evaluated;
    if (evaluated == 0)
        TOLVANE_LOG_IF(log, tl_info, evaluated == 0) << "in a branch";
    else
        FAIL("belongs to another if");

    CHECK(traced.queue.texts() == texts_t{L"in a branch"});
}

TEST_CASE("each instance of a template counts for itself", "[trace]")
{
    const tracedtest traced;
    TOLVANE_SCOPE(log);

    for (int round = 0; round < 2; ++round) {
        traceFirst<1>(log);
        traceFirst<2>(log);
    }

    CHECK(traced.queue.texts() == texts_t{L"1", L"2"});
}
