#include "trace/traceimpl.h"

#include <tolvane/ostreamtracestream.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/busydispatcher.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/traceimpltest.h"
#include "trace/linecontents.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using events_t = std::vector<std::string>;

using tolvane::ticksPerMillisecond;

/// Has a report of one line written.
bool report(traceimpl& dispatcher, const tracestream& sink)
{
    const hashedfunction& function = dispatcher.registerfunction("void reporter()");
    const auto lines = std::make_shared<packedlines>();
    tolvane::string text(L"line");
    appendLine(*lines, tl_error, function, textcontent{text});
    return dispatcher.report(sink, tl_error, lines, traceimpl::longestWaitToReport);
}

/// Starts the writer and lets it come to its end, as if it had been killed: it could not say so.
void killWriter(traceimpl& dispatcher)
{
    tolvane::ThreadControl& writer = traceimpltest::writer(dispatcher);
    writer.start();
    traceimpltest::running(dispatcher) = false;
    while (!writer.ended()) {
        std::this_thread::yield();
    }
    traceimpltest::stopped(dispatcher) = false;
}

/// Stops a dispatcher whose writer was killed.
/// \return how long the stop slept, in milliseconds.
unsigned long long stopAfterKill(traceimpl& dispatcher)
{
    scriptedclock clock;
    clock.setTicksPerSleep(ticksPerMillisecond);
    dispatcher.stop();
    const unsigned long long slept = clock.sleptMilliseconds();
    traceimpltest::stopped(dispatcher) = true; // the destructor's own stop need not wait
    return slept;
}

} // namespace

TEST_CASE("attaching a sink stores its clone and returns it", "[trace]")
{
    traceimpl dispatcher;
    probesink sink(1);

    const tracestream& attached = dispatcher.output(sink);

    CHECK(&attached != &sink);
    CHECK(attached.id() == 1);
    CHECK(sink.events() == events_t{"clone 1"});
}

TEST_CASE("levels count on the attached sink, not on the one that was passed", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    probesink sink(1);
    sink.setLevel(tl_info);

    tracestream& attached = dispatcher.output(sink);
    sink.setLevel(tl_debug);
    CHECK(dispatcher.maxLevel(function) == tl_always);

    attached.setLevel(tl_warning);
    CHECK(dispatcher.maxLevel(function) == tl_warning);
}

TEST_CASE("a second sink with the same id replaces the first, which is deleted", "[trace]")
{
    traceimpl dispatcher;
    const probesink first(1);
    const probesink second(1);

    dispatcher.output(first);
    dispatcher.output(second);

    CHECK(traceimpltest::sinks(dispatcher) == 1);
    CHECK(first.events() == events_t{"clone 1", "delete 1"});
    CHECK(second.events() == events_t{"clone 1"});
}

TEST_CASE("a replaced sink gets no more lines", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink first(1);
    const probesink second(1);
    traceimpltest::running(dispatcher) = false; // this thread alone writes

    dispatcher.output(first);
    dispatcher.output(second);
    traceimpltest::queue(dispatcher, function, tl_always, L"line");
    dispatcher.flushQueue(0);

    CHECK(first.events() == events_t{"clone 1", "delete 1"});
    CHECK(second.events() == events_t{"clone 1", "1: line"});
}

TEST_CASE("the attached sink itself may be attached again: it is cloned before it is deleted",
          "[trace]")
{
    traceimpl dispatcher;
    const probesink sink(1);
    const tracestream& attached = dispatcher.output(sink);

    const tracestream& again = dispatcher.output(attached);

    CHECK(sink.events() == events_t{"clone 1", "clone 1", "delete 1"});
    CHECK(again.id() == 1);
    CHECK(traceimpltest::sinks(dispatcher) == 1);
}

TEST_CASE("a sink that cannot be cloned leaves things as they were, and the locks free", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    traceimpltest::running(dispatcher) = false;
    const probesink first(1);
    const probesink broken(1);
    const probesink other(2);
    broken.told().onClone = [] { throw std::runtime_error("no clone"); };
    other.told().onClone = [] { throw std::runtime_error("no clone"); };
    dispatcher.output(first);

    CHECK_THROWS_AS(dispatcher.output(broken), std::runtime_error);
    CHECK_THROWS_AS(dispatcher.output(other), std::runtime_error);

    CHECK(isFree(dispatcher.m_instanceMutex));
    CHECK(isFree(traceimpltest::streamMutex(dispatcher)));
    CHECK(traceimpltest::sinks(dispatcher) == 1);
    traceimpltest::queue(dispatcher, function, tl_always, L"line");
    dispatcher.flushQueue(0);
    CHECK(first.events() == events_t{"clone 1", "1: line"});
}

TEST_CASE("a sink whose id throws is neither attached nor removed, and leaves the locks free",
          "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    traceimpltest::running(dispatcher) = false;
    const probesink first(1);
    const probesink broken(2);
    dispatcher.output(first);
    broken.told().onId = [] { throw std::runtime_error("no id"); };

    CHECK_THROWS_AS(dispatcher.output(broken), std::runtime_error);
    traceimpltest::queue(dispatcher, function, tl_always, L"line");
    CHECK_THROWS_AS(dispatcher.remove(broken), std::runtime_error);

    CHECK(isFree(dispatcher.m_instanceMutex));
    CHECK(isFree(traceimpltest::streamMutex(dispatcher)));
    CHECK(traceimpltest::sinks(dispatcher) == 1);
    traceimpltest::queue(dispatcher, function, tl_always, L"next");
    dispatcher.flushQueue(0);
    CHECK(first.events() == events_t{"clone 1", "1: line", "1: next"});
    broken.told().onId = nullptr;
}

TEST_CASE("a sink's id, clone and destructor may trace", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    traceimpltest::running(dispatcher) = false;
    const probesink sink(1);
    const auto traces = [&] {
        dispatcher.maxLevel(function);
        traceimpltest::queue(dispatcher, function, tl_always, L"from a sink");
    };
    sink.told().onId = traces;
    sink.told().onClone = traces;
    sink.told().onDelete = traces;

    dispatcher.output(sink);
    dispatcher.output(sink);

    CHECK(traceimpltest::entries(dispatcher).size() == 5); // two ids, two clones, one deletion
    dispatcher.remove(sink);
    CHECK(traceimpltest::entries(dispatcher).size() == 2); // the id's and the deletion's, later
    CHECK(traceimpltest::sinks(dispatcher) == 0);
    sink.told().onId = nullptr;
}

TEST_CASE("removing a sink writes the pending lines first", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    traceimpltest::running(dispatcher) = false;
    const probesink sink(1);
    dispatcher.output(sink);
    traceimpltest::queue(dispatcher, function, tl_always, L"pending");

    dispatcher.remove(sink);

    CHECK(sink.events() == events_t{"clone 1", "1: pending", "delete 1"});
    CHECK(traceimpltest::entries(dispatcher).empty());
}

TEST_CASE("a sink is removed by its id, and an id that is not attached is ignored", "[trace]")
{
    traceimpl dispatcher;
    const probesink first(1);
    const probesink second(2);
    dispatcher.output(first);
    dispatcher.output(second);

    dispatcher.remove(probesink(3));
    CHECK(traceimpltest::sinks(dispatcher) == 2);

    dispatcher.remove(probesink(1)); // another object with the first one's id
    CHECK(first.events() == events_t{"clone 1", "delete 1"});
    CHECK(second.events() == events_t{"clone 2"});
    dispatcher.remove(first); // no longer attached
    CHECK(traceimpltest::sinks(dispatcher) == 1);
}

TEST_CASE("the dispatcher's level operations reach every attached sink", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& named = dispatcher.registerfunction("void a::f()");
    const hashedfunction& other = dispatcher.registerfunction("void b::f()");
    const tracestream& first = dispatcher.output(probesink(1));
    const tracestream& second = dispatcher.output(probesink(2));

    dispatcher.setLevel(tl_warning, tolvane::string());
    dispatcher.setLevel(tl_debug, L"a");

    for (const tracestream* sink : {&first, &second}) {
        CHECK(sink->level(named) == tl_debug);
        CHECK(sink->level(other) == tl_warning);
    }
}

TEST_CASE("a level set before a sink is attached has no effect on it", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");

    dispatcher.setLevel(tl_trace, tolvane::string());
    dispatcher.setLevel(tl_trace, L"f");
    dispatcher.output(probesink(1));

    CHECK(dispatcher.maxLevel(function) == tl_always);
}

TEST_CASE("clearing levels with a level gives that level to every function", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
    const hashedfunction& other = dispatcher.registerfunction("void b::f()");
    dispatcher.output(probesink(1));
    dispatcher.setLevel(tl_error, tolvane::string());
    dispatcher.setLevel(tl_trace, L"a::f");

    dispatcher.clearLevels(tl_warning);

    CHECK(dispatcher.maxLevel(function) == tl_warning);
    CHECK(dispatcher.maxLevel(other) == tl_warning);
}

TEST_CASE("clearing the levels of a name forgets that name's and keeps the others", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& cleared = dispatcher.registerfunction("void a::f()");
    const hashedfunction& kept = dispatcher.registerfunction("void b::f()");
    dispatcher.output(probesink(1));
    dispatcher.setLevel(tl_error, tolvane::string());
    dispatcher.setLevel(tl_trace, L"a");
    dispatcher.setLevel(tl_debug, L"b");

    dispatcher.clearLevels(L"a");

    CHECK(dispatcher.maxLevel(cleared) == tl_error);
    CHECK(dispatcher.maxLevel(kept) == tl_debug);
}

TEST_CASE("clearing the levels of the empty name sets every sink to tl_always", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
    const tracestream& first = dispatcher.output(probesink(1));
    const tracestream& second = dispatcher.output(probesink(2));
    dispatcher.setLevel(tl_error, tolvane::string());
    dispatcher.setLevel(tl_trace, L"a");

    dispatcher.clearLevels(tolvane::string());

    CHECK(first.level(function) == tl_always);
    CHECK(second.level(function) == tl_always);
}

TEST_CASE("a function's level is the greatest that a sink gives it", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    CHECK(dispatcher.maxLevel(function) == tl_always);

    dispatcher.output(probesink(1)).setLevel(tl_info);
    dispatcher.output(probesink(2)).setLevel(tl_debug);
    dispatcher.output(probesink(3)).setLevel(tl_error);
    CHECK(dispatcher.maxLevel(function) == tl_debug);

    dispatcher.remove(probesink(2));
    CHECK(dispatcher.maxLevel(function) == tl_info);

    dispatcher.remove(probesink(1));
    dispatcher.remove(probesink(3));
    CHECK(dispatcher.maxLevel(function) == tl_always);
}

TEST_CASE("a function's level is never below tl_always", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");

    dispatcher.output(probesink(1)).setLevel(static_cast<tracelevel_t>(-1));

    CHECK(dispatcher.maxLevel(function) == tl_always);
}

TEST_CASE("registering a signature twice gives two functions, both valid for good", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& first = dispatcher.registerfunction("void a::f(int)");
    const hashedfunction& second = dispatcher.registerfunction("void a::f(int)");
    for (int more = 0; more < 1000; ++more) {
        dispatcher.registerfunction("void other()");
    }

    CHECK(&first != &second);
    CHECK(first.name().compare("a::f") == 0);
    CHECK(second.name().compare("a::f") == 0);
    CHECK(traceimpltest::functions(dispatcher) == 1002);
}

TEST_CASE("registering no signature gives a function without a name", "[trace]")
{
    traceimpl dispatcher;

    CHECK(dispatcher.registerfunction(nullptr).name().empty());
}

TEST_CASE("stopping writes what is queued and then deletes every sink", "[trace]")
{
    const auto told = std::make_shared<probesink::report>();
    {
        traceimpl dispatcher;
        const hashedfunction& function = dispatcher.registerfunction("void f()");
        dispatcher.output(probesink(1, told));
        dispatcher.output(probesink(2, told));
        traceimpltest::running(dispatcher) = false; // no writer takes the lines before
        traceimpltest::queue(dispatcher, function, tl_always, L"a");
        traceimpltest::queue(dispatcher, function, tl_always, L"b");
    }

    CHECK(told->events() ==
          events_t{"clone 1", "clone 2", "1: a", "2: a", "1: b", "2: b", "delete 1", "delete 2"});
}

TEST_CASE("stopping writes a line that was queued behind a running writer's back", "[trace]")
{
    const auto told = std::make_shared<probesink::report>();
    for (int round = 0; round < 5; ++round) {
        traceimpl dispatcher;
        const hashedfunction& function = dispatcher.registerfunction("void f()");
        dispatcher.output(probesink(1, told));
        traceimpltest::queue(dispatcher, function, tl_always, L"line");
    }

    events_t expected;
    for (int round = 0; round < 5; ++round) {
        expected.insert(expected.end(), {"clone 1", "1: line", "delete 1"});
    }
    CHECK(told->events() == expected);
}

TEST_CASE("stopping does not wait for a writer that was never started", "[trace]")
{
    const scriptedclock clock;
    traceimpl dispatcher;

    dispatcher.stop();

    CHECK(clock.sleeps() == 0);
    CHECK_FALSE(traceimpltest::writer(dispatcher).started());
}

TEST_CASE("stopping does not wait for a writer whose loop has ended", "[trace]")
{
    busydispatcher busy;
    traceimpltest::stopped(busy.dispatcher) = true;
    scriptedclock clock;
    int longPauses = 0;
    unsigned long long slept = 0;
    clock.whenSleeping([&] {
        longPauses += clock.sleptMilliseconds() - slept > 1 ? 1 : 0;
        slept = clock.sleptMilliseconds();
        if (clock.sleeps() == 1) {
            traceimpltest::stopped(busy.dispatcher) = false;
            busy.block.release();
        }
    });

    busy.dispatcher.stop(); // needs the sink lock all the same, which it tries every millisecond
    while (!traceimpltest::stopped(busy.dispatcher)) {
        std::this_thread::yield(); // until the writer has really ended
    }

    CHECK(longPauses == 0);
}

TEST_CASE("stopping waits nine times for a writer that hangs in a sink, then for the sink",
          "[trace]")
{
    busydispatcher busy;
    busy.queue(tl_always, L"second");
    scriptedclock clock;
    clock.setTicksPerSleep(ticksPerMillisecond);
    constexpr int patience = 100; // the sink lock is tried: the waiting is over, for good
    int longPauses = 0;
    int shortPauses = 0;
    unsigned long long slept = 0;
    clock.whenSleeping([&] {
        const bool isLong = clock.sleptMilliseconds() - slept == 10;
        slept = clock.sleptMilliseconds();
        ++(isLong ? longPauses : shortPauses);
        if (longPauses > 9 || shortPauses >= patience) {
            busy.block.release();
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // the writer's time is real
        }
    });

    busy.dispatcher.stop();

    CHECK(longPauses == 9);
    CHECK(busy.sink.events() == events_t{"clone 1", "1: first", "1: second", "delete 1"});
}

TEST_CASE("stopping gives up on a sink that hangs for good, and leaves the sinks alone", "[trace]")
{
    busydispatcher busy;
    busy.queue(tl_always, L"second");
    busy.queue(tl_trace, L"refused");
    {
        scriptedclock clock;
        clock.setTicksPerSleep(ticksPerMillisecond);

        busy.dispatcher.stop();

        CHECK(clock.sleptMilliseconds() > 10000);
        CHECK(clock.sleptMilliseconds() < 11000);
        CHECK(busy.sink.events() == events_t{"clone 1", "1: first"});
        CHECK(busy.dispatcher.lost(trace::ended) == 1);
    }
    busy.block.release();
    while (!traceimpltest::stopped(busy.dispatcher)) {
        std::this_thread::yield();
    }
}

TEST_CASE("stopping does not wait for a writer thread that is gone", "[trace]")
{
    traceimpl dispatcher;
    killWriter(dispatcher);

    CHECK(stopAfterKill(dispatcher) == 0);
}

TEST_CASE("stopping does not hang on the sink lock of a killed writer, and writes without it",
          "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    killWriter(dispatcher);
    traceimpltest::queue(dispatcher, function, tl_always, L"left");
    const heldelsewhere orphaned(traceimpltest::streamMutex(dispatcher));

    CHECK(stopAfterKill(dispatcher) < 10);

    CHECK(sink.events() == events_t{"clone 1", "1: left", "delete 1"});
}

TEST_CASE(
    "stopping does not hang on the instance lock of a killed thread, and leaves queue and sinks",
    "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    killWriter(dispatcher);
    traceimpltest::queue(dispatcher, function, tl_always, L"left");
    const heldelsewhere orphaned(dispatcher.m_instanceMutex);

    CHECK(stopAfterKill(dispatcher) < 1100);

    CHECK(sink.events() == events_t{"clone 1"}); // a living thread may be walking over the sinks
}

TEST_CASE("lines that come after the stop are dropped, and leave the caller's text empty",
          "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
    const probesink sink(1);
    dispatcher.output(sink);
    dispatcher.stop();
    tolvane::string text(L"late");

    {
        const lockobject lock(dispatcher.m_instanceMutex);
        dispatcher.queueLine(tl_always, function, text);
        dispatcher.queueMarker(function, formattedline::tt_exiting);
    }

    CHECK(text.empty());
    CHECK(traceimpltest::entries(dispatcher).empty());
    CHECK_FALSE(traceimpltest::writer(dispatcher).started());
    CHECK(function.name().compare("a::f") == 0); // still valid
    CHECK(sink.events() == events_t{"clone 1", "delete 1"});
}

TEST_CASE("lines that come after the stop are lost for the sinks that would have taken them",
          "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
    dispatcher.output(probesink(1)).setLevel(tl_info);
    dispatcher.output(probesink(2)).setLevel(tl_debug);
    traceimpltest::queue(dispatcher, function, tl_info, L"written");
    dispatcher.stop();
    CHECK(dispatcher.lost(trace::ended) == 0);

    traceimpltest::queue(dispatcher, function, tl_info, L"late");
    traceimpltest::queue(dispatcher, function, tl_debug, L"late");
    traceimpltest::queue(dispatcher, function, tl_trace, L"refused");
    std::thread([&] {
        traceimpltest::queue(dispatcher, function, tl_info, L"of a new thread");
        traceimpltest::leaveThread();
        traceimpltest::queue(dispatcher, function, tl_info, L"of one that has left");
    }).join();

    CHECK(dispatcher.lost(trace::ended) == 2 + 1 + 2 + 2);
}

TEST_CASE("stopping writes what all threads have staged, in order", "[trace]")
{
    traceimpl dispatcher;
    traceimpltest::running(dispatcher) = false; // nobody else writes
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    traceimpltest::queue(dispatcher, function, tl_always, L"a");
    std::thread([&] { traceimpltest::queue(dispatcher, function, tl_always, L"b"); }).join();
    traceimpltest::queue(dispatcher, function, tl_always, L"c");

    dispatcher.stop();

    CHECK(sink.events() == events_t{"clone 1", "1: a", "1: b", "1: c", "delete 1"});
}

TEST_CASE("a sink may remove itself while it is given the last lines", "[trace]")
{
    traceimpl dispatcher;
    traceimpltest::running(dispatcher) = false;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) { dispatcher.remove(sink); };
    dispatcher.output(sink);
    traceimpltest::queue(dispatcher, function, tl_always, L"a");
    traceimpltest::queue(dispatcher, function, tl_always, L"b");

    dispatcher.stop();

    CHECK(sink.events() == events_t{"clone 1", "1: a", "1: b", "delete 1"});
}

TEST_CASE("without memory for the last pass its lines are counted as lost", "[trace]")
{
    traceimpl dispatcher;
    traceimpltest::running(dispatcher) = false;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    std::ostringstream stream;
    dispatcher.output(ostreamtracestream<char>(stream));
    traceimpltest::queue(dispatcher, function, tl_always, L"a");
    traceimpltest::queue(dispatcher, function, tl_always, L"b");
    traceimpltest::drain(dispatcher);
    {
        const allocations::failure noMemory;
        dispatcher.stop();
    }

    CHECK(dispatcher.lost(trace::noMemory) == 2);
    CHECK(stream.str().empty());
}

TEST_CASE("a sink that makes no clone is not attached, and leaves the attached one", "[trace]")
{
    class childless final : public tracestream
    {
    public:
        void log(const formattedline&) override {}
        unsigned long long id() const override { return 1; }
        childless* clone() const override { return nullptr; }
    };
    traceimpl dispatcher;
    const probesink sink(1);
    dispatcher.output(sink);

    CHECK_THROWS_AS(dispatcher.output(childless()), std::bad_alloc);
    CHECK_THROWS_AS(report(dispatcher, childless()), std::bad_alloc);

    CHECK(traceimpltest::sinks(dispatcher) == 1);
    CHECK(sink.events() == events_t{"clone 1"});
}

TEST_CASE("a report that finds no memory leaves the sinks as they are", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink).setLevel(tl_debug);
    bool isReported = false;
    for (unsigned long long allocationsBefore = 0; !isReported; ++allocationsBefore) {
        REQUIRE(dispatcher.maxLevel(function) == tl_debug);
        REQUIRE(allocationsBefore < 100);
        const allocations::failure noMemory(allocationsBefore);
        try {
            isReported = report(dispatcher, sink);
        } catch (const std::bad_alloc&) {
        }
    }

    CHECK(dispatcher.maxLevel(function) == tl_error);
    const events_t events = sink.events();
    CHECK(std::count(events.begin(), events.end(), "1: line") == 1);
}

TEST_CASE("a report for which memory runs out anywhere is lost once", "[trace]")
{
    traceimpl dispatcher;
    const probesink sink(1);
    bool isReported = false;
    for (unsigned long long allocationsBefore = 0; !isReported; ++allocationsBefore) {
        REQUIRE(allocationsBefore < 100);
        const unsigned long long before = dispatcher.lost(trace::noMemory);
        {
            const allocations::shortage noMemory(allocationsBefore);
            try {
                report(dispatcher, sink);
            } catch (const std::bad_alloc&) {
            }
        }
        const events_t events = sink.events();
        isReported = std::count(events.begin(), events.end(), "1: line") != 0;
        CHECK(dispatcher.lost(trace::noMemory) - before <= (isReported ? 0 : 1));
    }
}

TEST_CASE("a thread that holds the dispatcher's lock writes its report itself", "[trace]")
{
    traceimpl dispatcher;
    const probesink sink(1);
    const tolvane::Auto_Mutex lock(dispatcher.m_instanceMutex);

    CHECK(report(dispatcher, sink));

    const events_t events = sink.events();
    CHECK(std::count(events.begin(), events.end(), "1: line") == 1);
}

TEST_CASE("a fork waits for both locks together no longer than for one", "[trace]")
{
    busydispatcher busy;
    {
        std::optional<heldelsewhere> holder;
        scriptedclock clock;
        clock.setTicksPerSleep(ticksPerMillisecond);
        clock.whenSleeping([&] {
            if (clock.sleptMilliseconds() == 900) {
                holder.emplace(busy.dispatcher.m_instanceMutex);
            }
        });

        const traceimpl::forklocks held = busy.dispatcher.beforeFork();

        CHECK_FALSE(held.sinks);
        busy.dispatcher.afterForkInParent(held);
        CHECK(holder);
        CHECK(clock.sleptMilliseconds() < 1010); // each try pauses once more than it should
    }
    busy.block.release();
    busy.dispatcher.stop();
}

TEST_CASE("the dispatcher can be used harmlessly after its stop, and stopped again", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    dispatcher.stop();

    dispatcher.setLevel(tl_trace, tolvane::string());
    CHECK(dispatcher.maxLevel(function) == tl_always);
    CHECK(dispatcher.flushQueue(0));
    CHECK_FALSE(dispatcher.flushQueue(1000)); // no writer will come: it does not wait
    CHECK(dispatcher.registerfunction("void g()").name().compare("g") == 0);

    const probesink sink(1);
    dispatcher.output(sink);
    dispatcher.stop();
    CHECK(sink.events() == events_t{"clone 1", "delete 1"});
}

TEST_CASE("a function that finds no memory is not registered, and nothing is lost", "[trace]")
{
    traceimpl dispatcher;
    bool registered = false;
    for (unsigned long long allocationsBefore = 0; !registered; ++allocationsBefore) {
        REQUIRE(traceimpltest::functions(dispatcher) == 0);
        REQUIRE(allocationsBefore < 100);
        const allocations::failure noMemory(allocationsBefore);
        try {
            dispatcher.registerfunction("void first::f()");
            registered = true;
        } catch (const std::bad_alloc&) {
            // the sanitizer tells what was lost
        }
    }

    CHECK(traceimpltest::functions(dispatcher) == 1);
}
