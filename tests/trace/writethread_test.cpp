#include "trace/writethread.h"

#include "tests/helpers/probesink.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

using events_t = std::vector<std::string>;

TEST_CASE("the writer sleeps 10 ms before each pass, until the dispatcher is stopped", "[trace]")
{
    traceimpl dispatcher;
    scriptedclock clock;
    clock.whenSleeping([&] { traceimpltest::running(dispatcher) = clock.sleeps() < 3; });

    CHECK(traceimpltest::runWriter(dispatcher) == 0);

    CHECK(clock.sleeps() == 3);
    CHECK(clock.sleptMilliseconds() == 30);
    CHECK(traceimpltest::stopped(dispatcher));
}

TEST_CASE("a writer whose dispatcher is stopped already makes no pass", "[trace]")
{
    const scriptedclock clock;
    traceimpl dispatcher;
    traceimpltest::running(dispatcher) = false;

    traceimpltest::runWriter(dispatcher);

    CHECK(clock.sleeps() == 0);
    CHECK(traceimpltest::stopped(dispatcher));
}

TEST_CASE("a pass takes the whole queue and writes it in order", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    traceimpltest::running(dispatcher) = false; // queuing starts no writer
    for (const wchar_t* text : {L"a", L"b", L"c"}) {
        traceimpltest::queue(dispatcher, function, tl_always, text);
    }
    traceimpltest::running(dispatcher) = true;
    scriptedclock clock;
    clock.whenSleeping([&] { traceimpltest::running(dispatcher) = false; });

    traceimpltest::runWriter(dispatcher);

    CHECK(sink.events() == events_t{"clone 1", "1: a", "1: b", "1: c"});
    CHECK(traceimpltest::entries(dispatcher).empty());
}

TEST_CASE("every pass says that it has finished, also when there was nothing to write", "[trace]")
{
    traceimpl dispatcher;
    scriptedclock clock;
    clock.whenSleeping([&] { traceimpltest::running(dispatcher) = false; });
    REQUIRE_FALSE(traceimpltest::written(dispatcher).value);

    traceimpltest::runWriter(dispatcher);

    CHECK(traceimpltest::written(dispatcher).value);
    bool timedOut = true;
    tolvane::UntypedEvent::UntypedEventImpl* const event =
        traceimpltest::written(dispatcher).impl();
    event->lock();
    event->wait(true, &timedOut, 0);
    event->unlock();
    CHECK_FALSE(timedOut);
}
