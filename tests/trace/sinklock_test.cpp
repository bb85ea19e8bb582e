#include "trace/sinklock.h"

#include "tests/helpers/gate.h"
#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <thread>

namespace {

/// Asks in another thread.
bool canBeEnteredElsewhere(sinklock& lock, bool onlyWrites)
{
    bool entered = false;
    std::thread([&] {
        entered = lock.tryEnter(onlyWrites);
        if (entered) {
            lock.leave();
        }
    }).join();
    return entered;
}

} // namespace

TEST_CASE("the sink lock is one thread's, as often as it takes it", "[trace]")
{
    sinklock lock;
    CHECK_FALSE(lock.isMine());
    REQUIRE(lock.tryEnter(true));
    REQUIRE(lock.tryEnter(true));
    CHECK(lock.isMine());
    CHECK_FALSE(canBeEnteredElsewhere(lock, true));

    lock.leave();
    CHECK(lock.isMine());
    CHECK_FALSE(canBeEnteredElsewhere(lock, true));
    lock.leave();

    CHECK_FALSE(lock.isMine());
    CHECK(canBeEnteredElsewhere(lock, true));
}

TEST_CASE("who only writes lets those go first who wait to change the sinks", "[trace]")
{
    sinklock lock;
    {
        const sinklock::claim claim(lock);
        CHECK_FALSE(canBeEnteredElsewhere(lock, true));
        CHECK(canBeEnteredElsewhere(lock, false));
        REQUIRE(lock.tryEnter(false));
        CHECK(lock.tryEnter(true)); // within a sink's own call
        lock.leave();
        lock.leave();
    }
    CHECK(canBeEnteredElsewhere(lock, true));
}

TEST_CASE("who waits for the sink lock is woken when it is given back", "[trace]")
{
    sinklock lock;
    REQUIRE(lock.tryEnter(true));
    gate waits;
    int tries = 0;
    std::thread waiter([&] {
        waits.open();
        while (!lock.tryEnter(true)) {
            lock.waitForReturn();
            ++tries;
        }
        lock.leave();
    });
    waits.wait();
    lock.leave();
    waiter.join();

    CHECK(canBeEnteredElsewhere(lock, true));
}

TEST_CASE("waiting for the sink lock to be given back takes a millisecond at most", "[trace]")
{
    sinklock lock;
    const scriptedclock clock;

    lock.waitForReturn();

    CHECK(clock.sleptMilliseconds() == 1);
}

TEST_CASE("giving the sink lock back is getting on", "[trace]")
{
    sinklock lock;
    REQUIRE(lock.tryEnter(true));
    const unsigned long long before = lock.progress().moves();

    lock.leave();

    CHECK(lock.progress().moves() != before);
}

TEST_CASE("a single call of a sink is waited for two milliseconds, and a few looks at least",
          "[trace]")
{
    const scriptedclock clock;
    passprogress progress;
    const passprogress::foreigncall call(progress, attachedsink());
    patience waiting(progress);

    CHECK(waiting.lasts());
    CHECK(waiting.lasts());
    CHECK(waiting.lasts()); // the time has not passed
    tolvane::Clock::current().sleep(1);
    CHECK(waiting.lasts());
    tolvane::Clock::current().sleep(1);
    CHECK_FALSE(waiting.lasts());

    patience late(progress); // whoever comes now looks again
    tolvane::Clock::current().sleep(100);
    CHECK(late.lasts());
    CHECK(late.lasts());
    CHECK_FALSE(late.lasts());
}

TEST_CASE("a holder that is in no sink's call is waited for a second", "[trace]")
{
    const scriptedclock clock;
    passprogress progress;
    patience waiting(progress);

    for (int millisecond = 0; millisecond < 1000; ++millisecond) {
        REQUIRE(waiting.lasts());
        tolvane::Clock::current().sleep(1);
    }
    CHECK_FALSE(waiting.lasts());
}

TEST_CASE("whenever the holder gets on, waiting begins anew", "[trace]")
{
    const scriptedclock clock;
    passprogress progress;
    patience waiting(progress);
    const tolvane::Clock& time = tolvane::Clock::current();

    for (int line = 0; line < 10; ++line) {
        time.sleep(900);
        progress.move();
        CHECK(waiting.lasts());
    }
    for (int line = 0; line < 10; ++line) {
        const passprogress::foreigncall call(progress, attachedsink());
        CHECK(waiting.lasts());
        time.sleep(1);
        CHECK(waiting.lasts());
    }
}
