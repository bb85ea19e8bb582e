#include "support/autoresetevent.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <chrono>
#include <thread>

using tolvane::AutoResetEvent;

namespace {

constexpr unsigned int longEnough = 30000; ///< milliseconds; only a failing test waits for it

} // namespace

TEST_CASE("an event that is set lets one wait through", "[support]")
{
    AutoResetEvent event;
    CHECK_FALSE(event.wait(true, 0));

    event.set();

    CHECK(event.wait(true, longEnough));
    CHECK_FALSE(event.wait(true, 0));
}

TEST_CASE("an event set twice is set once", "[support]")
{
    AutoResetEvent event;
    event.set();
    event.set();

    CHECK(event.wait(false, 0));
    CHECK_FALSE(event.wait(true, 0));
}

TEST_CASE("a wait that is in vain takes its time", "[support]")
{
    AutoResetEvent event;
    for (const unsigned int milliseconds : {0U, 20U, 1005U}) {
        const auto start = std::chrono::steady_clock::now();

        CHECK_FALSE(event.wait(true, milliseconds));

        // a little less may be seen where clock and wait count in different steps
        CHECK(std::chrono::steady_clock::now() - start >=
              std::chrono::milliseconds(milliseconds * 3 / 4));
    }
}

TEST_CASE("setting an event wakes a thread that waits, one for each time", "[support]")
{
    AutoResetEvent event;
    AutoResetEvent woken;
    std::atomic<int> through{0};
    const auto pass = [&] {
        event.wait(false, 0);
        ++through;
        woken.set();
    };
    std::thread first(pass);
    std::thread second(pass);

    event.set();
    CHECK(woken.wait(true, longEnough));
    CHECK(through == 1);
    event.set();
    CHECK(woken.wait(true, longEnough));
    CHECK(through == 2);
    first.join();
    second.join();
}

TEST_CASE("an event has a handle of its own", "[support]")
{
    AutoResetEvent first;
    AutoResetEvent second;

    CHECK(first.handle() != nullptr);
    CHECK(first.handle() != second.handle());
}
