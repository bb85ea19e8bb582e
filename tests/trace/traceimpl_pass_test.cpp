#include "trace/traceimpl.h"

#include "stacktrace/structuredexception.h"
#include "support/stamps.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/busydispatcher.h"
#include "tests/helpers/busysink.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/traceimpltest.h"
#include "trace/insidelibrary.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using events_t = std::vector<std::string>;

long long millisecondsOf(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    const auto took = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
}

/// Shows each record to a test.
class readingsink : public tracestream
{
public:
    using reader_t = std::function<void(const formattedline&)>;

    explicit readingsink(reader_t reader) : m_reader(std::move(reader)) {}

    void log(const formattedline& line) override { m_reader(line); }
    unsigned long long id() const override { return 4711; }
    readingsink* clone() const override { return new readingsink(m_reader); }

private:
    reader_t m_reader;
};

} // namespace

TEST_CASE("a queued line holds level, function and text, and leaves the caller's text empty",
          "[trace]")
{
    quietdispatcher quiet;
    tolvane::string text(L"a longer text that needs the heap");
    quiet.dispatcher.queueLine(tl_info, quiet.function, text);

    const auto entries = traceimpltest::entries(quiet.dispatcher);
    REQUIRE(entries.size() == 1);
    CHECK(entries[0].text == L"a longer text that needs the heap");
    CHECK(entries[0].level == tl_info);
    CHECK(entries[0].type == formattedline::tt_text);
    CHECK(entries[0].function == &quiet.function);
    CHECK(text.empty());
}

TEST_CASE("entry and exit lines are queued at level tl_trace", "[trace]")
{
    quietdispatcher quiet;

    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_starting);
    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);

    const auto entries = traceimpltest::entries(quiet.dispatcher);
    REQUIRE(entries.size() == 2);
    CHECK(entries[0].type == formattedline::tt_starting);
    CHECK(entries[1].type == formattedline::tt_exiting);
    CHECK(entries[0].level == tl_trace);
    CHECK(entries[1].level == tl_trace);
    CHECK(entries[0].function == &quiet.function);
}

TEST_CASE("an empty line is queued like any other", "[trace]")
{
    quietdispatcher quiet;

    quiet.queue(tl_always, L"");

    CHECK(quiet.texts() == std::vector<std::wstring>{L""});
}

TEST_CASE("the 1001st line drops the lines that no sink takes, and keeps the others in order",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_warning);
    quiet.queue(tl_warning, L"first");
    quiet.queue(499, tl_info, L"refused");
    quiet.queue(tl_error, L"second");
    quiet.queue(499, tl_trace, L"refused");
    REQUIRE(quiet.texts().size() == 1000);

    quiet.queue(tl_always, L"third");

    CHECK(quiet.texts() == std::vector<std::wstring>{L"first", L"second", L"third"});
}

TEST_CASE("pruning keeps a line when one sink of several takes it", "[trace]")
{
    quietdispatcher quiet;
    const hashedfunction& other = quiet.dispatcher.registerfunction("void b::g()");
    quiet.dispatcher.output(probesink(1)).setLevel(tl_error);
    quiet.dispatcher.output(probesink(2)).setLevel(tl_debug, L"a::f");
    quiet.dispatcher.output(probesink(3)).setLevel(tl_error);

    quiet.queue(tl_debug, L"the second sink's");
    traceimpltest::queue(quiet.dispatcher, other, tl_debug, L"nobody's");
    traceimpltest::queue(quiet.dispatcher, other, tl_error, L"the first sink's");
    quiet.queue(998, tl_trace, L"refused");

    CHECK(quiet.texts() == std::vector<std::wstring>{L"the second sink's", L"the first sink's"});
}

TEST_CASE("without a sink, pruning drops every line", "[trace]")
{
    quietdispatcher quiet;

    quiet.queue(1000, tl_always, L"line");
    CHECK(quiet.texts().size() == 1000);
    quiet.queue(tl_always, L"line");
    CHECK(quiet.texts().empty());
}

TEST_CASE("more than 2000 lines that sinks take are written by the thread that traces", "[trace]")
{
    quietdispatcher quiet;
    std::size_t written = 0;
    bool inThisThread = true;
    const auto self = std::this_thread::get_id();
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) {
        ++written;
        inThisThread = inThisThread && std::this_thread::get_id() == self;
    };
    quiet.dispatcher.output(sink);

    quiet.queue(2000, tl_always, L"line");
    CHECK(written == 0);
    CHECK(quiet.texts().size() == 2000);

    quiet.queue(tl_always, L"line");
    CHECK(written == 2001);
    CHECK(inThisThread);
    CHECK(quiet.texts().empty());
}

TEST_CASE("pruning may spare the thread that traces from writing", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink).setLevel(tl_always);

    quiet.queue(1500, tl_always, L"taken");
    quiet.queue(3000, tl_trace, L"refused");

    CHECK(quiet.texts().size() == 1500);
    CHECK(sink.events() == events_t{"clone 1"});
}

TEST_CASE("the first line starts the writer, and nothing before it", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    dispatcher.output(probesink(1));
    dispatcher.setLevel(tl_trace, tolvane::string());
    dispatcher.flushQueue(0);
    CHECK_FALSE(traceimpltest::writer(dispatcher).started());

    traceimpltest::queue(dispatcher, function, tl_always, L"line");
    CHECK(traceimpltest::writer(dispatcher).started());
}

TEST_CASE("a writer that could not be started is started by the next line", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    tolvane::ThreadControl& writer = traceimpltest::writer(dispatcher);

    {
        const allocations::nothrowfailure noThread;
        traceimpltest::queue(dispatcher, function, tl_always, L"first");
    }
    CHECK_FALSE(writer.started());
    CHECK(writer.startError() == ENOMEM);
    CHECK(traceimpltest::texts(dispatcher) == std::vector<std::wstring>{L"first"});

    traceimpltest::queue(dispatcher, function, tl_always, L"second");
    CHECK(writer.started());
    CHECK(writer.startError() == 0);
    REQUIRE(traceimpltest::waitForWriter(dispatcher));
    CHECK(sink.events() == events_t{"clone 1", "1: first", "1: second"});
}

TEST_CASE("flush(0) writes the pending lines in the calling thread", "[trace]")
{
    quietdispatcher quiet;
    const auto self = std::this_thread::get_id();
    bool inThisThread = false;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) {
        inThisThread = std::this_thread::get_id() == self;
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"line");

    CHECK(quiet.dispatcher.flushQueue(0));

    CHECK(inThisThread);
    CHECK(sink.events() == events_t{"clone 1", "1: line"});
    CHECK(quiet.texts().empty());
}

TEST_CASE("flush(0) with nothing queued returns at once", "[trace]")
{
    const scriptedclock clock;
    quietdispatcher quiet;

    CHECK(quiet.dispatcher.flushQueue(0));
    CHECK(clock.sleeps() == 0);
}

TEST_CASE("lines are written line by line across the sinks, in the order of their ids", "[trace]")
{
    quietdispatcher quiet;
    const auto told = std::make_shared<probesink::report>();
    quiet.dispatcher.output(probesink(3, told));
    quiet.dispatcher.output(probesink(1, told));
    quiet.dispatcher.output(probesink(0xFFFFFFFFFFFFFFFF, told));
    quiet.queue(tl_always, L"a");
    quiet.queue(tl_always, L"b");

    quiet.dispatcher.flushQueue(0);

    CHECK(told->events() == events_t{"clone 3", "clone 1", "clone 18446744073709551615", "1: a",
                                     "3: a", "18446744073709551615: a", "1: b", "3: b",
                                     "18446744073709551615: b"});
}

TEST_CASE("a line reaches the sinks whose level for its function is at least its own", "[trace]")
{
    quietdispatcher quiet;
    const hashedfunction& other = quiet.dispatcher.registerfunction("void b::g()");
    const probesink first(1);
    const probesink second(2);
    quiet.dispatcher.output(first).setLevel(tl_info);
    quiet.dispatcher.output(second).setLevel(tl_debug, L"b");

    quiet.queue(tl_info, L"a3");
    quiet.queue(tl_verbose, L"a4");
    traceimpltest::queue(quiet.dispatcher, other, tl_debug, L"b5");
    traceimpltest::queue(quiet.dispatcher, other, tl_trace, L"b6");
    quiet.queue(tl_always, L"a0");
    quiet.dispatcher.flushQueue(0);

    CHECK(first.events() == events_t{"clone 1", "1: a3", "1: a0"});
    CHECK(second.events() == events_t{"clone 2", "2: b5", "2: a0"});
}

TEST_CASE(
    "flush(0) drops its lines when a sink stays busy, counts them, and later lines are written",
    "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    const probesink deaf(2);
    quiet.dispatcher.output(sink);
    quiet.dispatcher.output(deaf).setLevel(tl_always);
    {
        const busysink busy(quiet);
        quiet.queue(3, tl_always, L"lost");
        quiet.queue(tl_error, L"refused");
        scriptedclock clock;

        CHECK(quiet.dispatcher.flushQueue(0));

        CHECK(clock.sleptMilliseconds() == 2); // and not half a second
        CHECK(quiet.texts().empty());
        quiet.queue(2, tl_always, L"lost");
        CHECK(quiet.dispatcher.flushQueue(0));
        CHECK(clock.sleptMilliseconds() == 2); // once given up, nobody waits until the sink moves
    }
    quiet.queue(tl_always, L"kept");
    quiet.dispatcher.flushQueue(0);

    CHECK(sink.events() == events_t{"clone 1", "1: busy", "1: kept"});
    CHECK(quiet.dispatcher.lost(trace::busySink) == 3 * 5); // three sinks, one of them the busy one
    CHECK(quiet.dispatcher.lost(trace::destination) == 0);
}

TEST_CASE("what a sink's fault costs is not put down to the sink that is busy", "[trace]")
{
    std::unique_ptr<tracestream> undestroyed; // by the dispatcher, which does not touch it any more
    quietdispatcher quiet;
    const probesink faulting(1);
    faulting.told().onLog = [](const std::wstring&) { throw StructuredException("a fault"); };
    undestroyed.reset(&quiet.dispatcher.output(faulting));
    quiet.queue(tl_always, L"fault");
    CHECK_THROWS_AS(quiet.dispatcher.flushQueue(0), StructuredException);
    REQUIRE(quiet.dispatcher.lost(trace::destination) == 1);
    {
        const busysink busy(quiet); // its line is lost for the first sink, too
        quiet.queue(3, tl_always, L"lost");
        const scriptedclock clock;
        quiet.dispatcher.flushQueue(0);
    }

    CHECK(quiet.dispatcher.lost(trace::destination) == 1 + 1 + 3);
    CHECK(quiet.dispatcher.lost(trace::busySink) == 3); // the busy one's
}

TEST_CASE("who holds the sinks and is in no sink's call is waited for", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"kept");
    auto held = std::make_unique<heldelsewhere>(traceimpltest::streamMutex(quiet.dispatcher));
    scriptedclock clock;
    clock.whenSleeping([&] {
        if (clock.sleptMilliseconds() == 500) {
            held.reset(); // it was not scheduled until now
        }
    });

    CHECK(quiet.dispatcher.flushQueue(0));

    CHECK(sink.events() == events_t{"clone 1", "1: kept"});
    CHECK(clock.sleptMilliseconds() == 500);
    CHECK(quiet.dispatcher.lost(trace::busySink) == 0);
}

TEST_CASE("a holder of the sinks that does not get on for a second costs the lines", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"lost");
    {
        const heldelsewhere held(traceimpltest::streamMutex(quiet.dispatcher));
        const scriptedclock clock;

        CHECK(quiet.dispatcher.flushQueue(0));

        CHECK(clock.sleptMilliseconds() == 1000);
    }
    CHECK(quiet.texts().empty());
    CHECK(quiet.dispatcher.lost(trace::busySink) == 1);
}

TEST_CASE("a flush of nothing never waits, however busy the sinks are", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1));
    const heldelsewhere held(traceimpltest::streamMutex(quiet.dispatcher));
    const scriptedclock clock;

    CHECK(quiet.dispatcher.flushQueue(0));

    CHECK(clock.sleeps() == 0);
}

TEST_CASE("a producer that waits for the sinks goes on when somebody else has taken the lines",
          "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(2000, tl_always, L"line");
    auto held = std::make_unique<heldelsewhere>(traceimpltest::streamMutex(quiet.dispatcher));
    scriptedclock clock;
    clock.whenSleeping([&] { traceimpltest::emptyQueue(quiet.dispatcher); });

    quiet.queue(tl_always, L"line");

    CHECK(clock.sleeps() == 1);
    CHECK(sink.events() == events_t{"clone 1"});
}

TEST_CASE("the writer drops its lines when a sink stays busy, and writes later ones", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    {
        const busysink busy(dispatcher, function); // in a thread that flushes
        traceimpltest::queue(dispatcher, function, tl_always, L"lost");
        REQUIRE(traceimpltest::waitForWriter(dispatcher));
        CHECK(traceimpltest::entries(dispatcher).empty());
    }
    traceimpltest::queue(dispatcher, function, tl_always, L"kept");
    REQUIRE(traceimpltest::waitForWriter(dispatcher));

    CHECK(sink.events() == events_t{"clone 1", "1: busy", "1: kept"});
    CHECK(dispatcher.lost(trace::busySink) == 2);
}

TEST_CASE("a line queued without a sink does not reach a sink attached a pass later", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    traceimpltest::queue(dispatcher, function, tl_always, L"nobody's");
    REQUIRE(traceimpltest::waitForWriter(dispatcher));
    const probesink sink(1);

    dispatcher.output(sink);
    dispatcher.flushQueue(0);

    CHECK(sink.events() == events_t{"clone 1"});
}

TEST_CASE("a pass of the running writer ends a flush, and wrote what was queued", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);

    for (int round = 0; round < 3; ++round) {
        traceimpltest::queue(dispatcher, function, tl_always, L"line");
        REQUIRE(traceimpltest::waitForWriter(dispatcher));
    }

    CHECK(sink.events() == events_t{"clone 1", "1: line", "1: line", "1: line"});
}

TEST_CASE("a flush whose writer never runs waits for its budget, then 10 ms less, and so on",
          "[trace]")
{
    traceimpl dispatcher; // no line, no writer
    bool finished = true;

    CHECK(millisecondsOf([&] { finished = dispatcher.flushQueue(5); }) >= 4);
    CHECK_FALSE(finished);

    // 40 + 30 + 20 + 10, less what a timer may be early each time; and not 40
    CHECK(millisecondsOf([&] { finished = dispatcher.flushQueue(40); }) >= 90);
    CHECK_FALSE(finished);
}

TEST_CASE("a flush that is woken for nothing pauses 10 ms and loses 10 of its budget", "[trace]")
{
    struct example
    {
        unsigned long long budget;
        int waits;
    };
    for (const example& pair : {example{1, 1}, example{9, 1}, example{10, 1}, example{11, 2},
                                example{20, 2}, example{25, 3}, example{30, 3}, example{31, 4}}) {
        CAPTURE(pair.budget);
        scriptedclock clock;
        traceimpl dispatcher;
        for (int signals = 0; signals < 10; ++signals) {
            traceimpltest::written(dispatcher).impl()->signal(); // passes of which nobody knew
        }

        CHECK_FALSE(dispatcher.flushQueue(pair.budget));

        CHECK(clock.sleeps() == pair.waits);
        CHECK(clock.sleptMilliseconds() == 10ULL * static_cast<unsigned>(pair.waits));
    }
}

TEST_CASE("a pass that ends while a flush pauses ends the flush", "[trace]")
{
    scriptedclock clock;
    traceimpl dispatcher;
    tolvane::Event<bool>& written = traceimpltest::written(dispatcher);
    written.impl()->signal();
    clock.whenSleeping([&] {
        written.impl()->lock();
        written.value = true;
        written.impl()->signalLocked();
        written.impl()->unlock();
    });

    CHECK(dispatcher.flushQueue(50));
    CHECK(clock.sleeps() == 1);
}

TEST_CASE("a pass that ended before a flush began does not end it", "[trace]")
{
    const scriptedclock clock;
    traceimpl dispatcher;
    traceimpltest::written(dispatcher).value = true;

    CHECK_FALSE(dispatcher.flushQueue(5));
}

TEST_CASE("a sink that throws loses that line; the other sinks and lines go on", "[trace]")
{
    quietdispatcher quiet;
    const probesink throwing(1);
    const probesink other(2);
    throwing.told().onLog = [](const std::wstring& text) {
        if (text == L"a") {
            throw std::runtime_error("broken sink");
        }
        if (text == L"b") {
            throw 42; // anything can be thrown
        }
    };
    quiet.dispatcher.output(throwing);
    quiet.dispatcher.output(other);
    for (const wchar_t* text : {L"a", L"b", L"c"}) {
        quiet.queue(tl_always, text);
    }

    CHECK(quiet.dispatcher.flushQueue(0));

    CHECK(throwing.events() == events_t{"clone 1", "1: a", "1: b", "1: c"});
    CHECK(other.events() == events_t{"clone 2", "2: a", "2: b", "2: c"});
    bool isFree = false;
    std::thread([&] {
        const tolvane::Auto_TimedMutex lock(quiet.dispatcher.m_instanceMutex, 0);
        const tolvane::Auto_TimedMutex streamLock(traceimpltest::streamMutex(quiet.dispatcher), 0);
        isFree = lock.owns() && streamLock.owns();
    }).join();
    CHECK(isFree);
}

TEST_CASE("a sink that throws does not end the writer", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    sink.told().onLog = [](const std::wstring&) { throw std::runtime_error("broken sink"); };
    dispatcher.output(sink);

    traceimpltest::queue(dispatcher, function, tl_always, L"a");
    REQUIRE(traceimpltest::waitForWriter(dispatcher));
    traceimpltest::queue(dispatcher, function, tl_always, L"b");
    REQUIRE(traceimpltest::waitForWriter(dispatcher));

    CHECK(sink.events() == events_t{"clone 1", "1: a", "1: b"});
}

TEST_CASE("a sink that blocks does not hold up the threads that trace", "[trace]")
{
    busydispatcher busy;

    for (int line = 0; line < 100; ++line) { // not with the sink lock, not for the writer
        busy.queue(tl_always, L"more");
        busy.dispatcher.maxLevel(busy.function);
    }
    CHECK(busy.sink.events() == events_t{"clone 1", "1: first"});

    busy.block.release();
    REQUIRE(traceimpltest::waitForWriter(busy.dispatcher));
    CHECK(busy.sink.events().size() == 102);
}

TEST_CASE("what is queued while lines are written is written by the next pass", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"first") {
            std::thread([&] { quiet.queue(tl_always, L"second"); }).join();
        }
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"first");

    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.texts() == std::vector<std::wstring>{L"second"});

    quiet.dispatcher.flushQueue(0);
    CHECK(sink.events() == events_t{"clone 1", "1: first", "1: second"});
}

TEST_CASE("what was found taken by a sink is found out anew for the lines after a flush", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_error);
    quiet.queue(1001, tl_error, L"taken");
    quiet.dispatcher.flushQueue(0);

    quiet.queue(1001, tl_info, L"refused");

    CHECK(quiet.texts().empty());
}

TEST_CASE("lines that were taken are dropped by pruning when the level was lowered since",
          "[trace]")
{
    quietdispatcher quiet;
    tracestream& attached = quiet.dispatcher.output(probesink(1));
    attached.setLevel(tl_info);
    quiet.queue(1001, tl_info, L"taken");
    REQUIRE(quiet.texts().size() == 1001);

    attached.setLevel(tl_error);
    quiet.queue(tl_error, L"error");

    CHECK(quiet.texts() == std::vector<std::wstring>{L"error"});
}

TEST_CASE("after a pass too, the 1001st line drops what no sink takes", "[trace]")
{
    quietdispatcher quiet;
    tracestream& attached = quiet.dispatcher.output(probesink(1));
    attached.setLevel(tl_info);
    quiet.dispatcher.maxLevel(quiet.function); // remembered from here on, as a scope does
    quiet.queue(tl_info, L"passed");
    quiet.queue(tl_debug, L"refused"); // which is forgotten with the pass
    quiet.dispatcher.flushQueue(0);

    SECTION("and leaves lines where they are while each was found to be taken")
    {
        quiet.queue(1001, tl_info, L"taken");
        CHECK(traceimpltest::drained(quiet.dispatcher) == 0);
        CHECK(quiet.texts().size() == 1001);
    }
    SECTION("one line of another thread")
    {
        std::thread([&] { quiet.queue(tl_debug, L"refused"); }).join();
        quiet.queue(1000, tl_info, L"taken");
        CHECK(quiet.texts().size() == 1000);
    }
    SECTION("one line of a thread that is about to end")
    {
        std::thread([&] {
            quiet.queue(tl_info, L"taken");
            traceimpltest::leaveThread();
            quiet.queue(tl_debug, L"refused");
        }).join();
        quiet.queue(999, tl_info, L"taken");
        CHECK(quiet.texts().size() == 1000);
    }
    SECTION("one line of a thread that has ended, and was drained since")
    {
        std::thread([&] { quiet.queue(tl_debug, L"refused"); }).join();
        traceimpltest::drain(quiet.dispatcher);
        quiet.queue(1000, tl_info, L"taken");
        CHECK(quiet.texts().size() == 1000);
    }
    SECTION("lines that were taken before the level was lowered")
    {
        quiet.queue(600, tl_info, L"taken");
        attached.setLevel(tl_error);
        quiet.queue(401, tl_error, L"error");
        CHECK(quiet.texts().size() == 401);
    }
    SECTION("all lines, when the sinks are gone")
    {
        quiet.dispatcher.remove(probesink(1));
        quiet.dispatcher.maxLevel(quiet.function);
        quiet.queue(tl_always, L"nobody's");
        quiet.dispatcher.flushQueue(0);
        quiet.queue(1001, tl_always, L"nobody's");
        CHECK(quiet.texts().empty());
    }
}

TEST_CASE("who finds too many lines writes them, also when none of them can be pruned", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.dispatcher.maxLevel(quiet.function);
    quiet.queue(tl_always, L"first");
    quiet.dispatcher.flushQueue(0);
    for (int line = 0; line < 2000; ++line) {
        traceimpltest::stageUnasked(quiet.function); // as by many threads at once
    }
    traceimpltest::closeBudget(quiet.dispatcher);

    quiet.queue(tl_always, L"one too many");

    CHECK(traceimpltest::waiting(quiet.dispatcher) == 0);
    CHECK(sink.events().size() == 1 + 1 + 2001);
}

TEST_CASE("a line for which others are written first is the parent's when a sink forks meanwhile",
          "[trace][fork]")
{
    quietdispatcher quiet;
    bool isForked = false;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) {
        if (!isForked) {
            isForked = true;
            quiet.dispatcher.afterForkInChild(quiet.dispatcher.beforeFork());
        }
    };
    quiet.dispatcher.output(sink);
    quiet.dispatcher.maxLevel(quiet.function);
    quiet.queue(tl_always, L"makes the stage");
    for (int line = 0; line < 2000; ++line) {
        traceimpltest::stageUnasked(quiet.function); // as by many threads at once
    }
    traceimpltest::prune(quiet.dispatcher);

    quiet.queue(tl_always, L"one too many");
    CHECK(isForked);
    CHECK(quiet.texts().empty());
    CHECK(sink.events().size() == 1 + 1);

    quiet.queue(tl_always, L"own");
    CHECK(quiet.texts() == std::vector<std::wstring>{L"own"});
}

TEST_CASE("memory that is used again holds nothing of a line before", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink).setLevel(tl_trace);
    quiet.queue(tl_error, L"a long text, which needs memory of its own");
    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_starting);
    quiet.dispatcher.flushQueue(0);

    quiet.queue(tl_info, L"short");
    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
    const auto entries = traceimpltest::entries(quiet.dispatcher);
    quiet.dispatcher.flushQueue(0);

    REQUIRE(entries.size() == 2);
    CHECK(entries[0].text == L"short");
    CHECK(entries[0].type == formattedline::tt_text);
    CHECK(entries[1].text.empty());
    CHECK(entries[1].type == formattedline::tt_exiting);
}

TEST_CASE("in a steady flow a thread that traces allocates nothing", "[trace]")
{
    quietdispatcher quiet;
    tolvane::string text;
    const auto queueHundred = [&] {
        for (int line = 0; line < 100; ++line) {
            text.append(L"as long as every line of this flow");
            quiet.dispatcher.queueLine(tl_info, quiet.function, text);
        }
    };
    for (int round = 0; round < 3; ++round) {
        queueHundred();
        quiet.dispatcher.flushQueue(0);
    }

    const unsigned long long before = allocations::count();
    queueHundred();

    CHECK(allocations::count() == before);
}

TEST_CASE("in a steady flow the lines that are drained need a few allocations for all", "[trace]")
{
    quietdispatcher quiet;
    const auto drainHundred = [&] {
        for (int line = 0; line < 100; ++line) {
            traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
        }
        const unsigned long long before = allocations::count();
        quiet.dispatcher.flushQueue(0);
        return allocations::count() - before;
    };
    drainHundred();
    drainHundred();

    CHECK(drainHundred() < 10); // the room of the queue, and what a pass begins with
}

TEST_CASE("the memory of lines serves again, but not that of very many", "[trace]")
{
    quietdispatcher quiet;
    const std::wstring text(packedline::longestPayload / sizeof(wchar_t), L'x');
    quiet.queue(5, tl_info, text.c_str());
    quiet.dispatcher.flushQueue(0);
    const std::size_t ofFew = traceimpltest::spareRoom(quiet.dispatcher);
    quiet.queue(500, tl_info, text.c_str());
    quiet.dispatcher.flushQueue(0);

    CHECK(ofFew > 5 * packedline::longestPayload);
    CHECK(traceimpltest::spareRoom(quiet.dispatcher) == ofFew);
}

TEST_CASE("a queue that is no more served starts no writer", "[trace]")
{
    quietdispatcher quiet;

    quiet.queue(tl_error, L"line");

    CHECK_FALSE(traceimpltest::writer(quiet.dispatcher).started());
}

TEST_CASE("what is queued while lines are written stays when the memory of these is kept",
          "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(100, tl_always, L"line");
    quiet.dispatcher.flushQueue(0);
    bool first = true;
    sink.told().onLog = [&](const std::wstring&) {
        if (std::exchange(first, false)) {
            quiet.queue(tl_always, L"meanwhile");
        }
    };
    quiet.queue(100, tl_always, L"line");

    quiet.dispatcher.flushQueue(0);

    CHECK(quiet.texts() == std::vector<std::wstring>{L"meanwhile"});
}

TEST_CASE("a line without memory is lost alone, and counted", "[trace]")
{
    const std::wstring longText(5000, L'x');
    int lost = 0;
    for (unsigned long long allocationsBefore = 0; allocationsBefore < 8; ++allocationsBefore) {
        CAPTURE(allocationsBefore);
        quietdispatcher quiet;
        quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
        std::thread([&] { // one whose first line this is
            tolvane::string text(longText.c_str());
            bool isQueued = true;
            try {
                const allocations::failure noMemory(allocationsBefore);
                quiet.dispatcher.queueLine(tl_error, quiet.function, text);
            } catch (const std::bad_alloc&) {
                isQueued = false;
                ++lost;
            }
            CHECK(text.empty());
            quiet.queue(tl_error, L"after");

            std::vector<std::wstring> expected;
            if (isQueued) {
                expected.push_back(longText);
            }
            expected.emplace_back(L"after");
            CHECK(quiet.texts() == expected);
            CHECK(quiet.dispatcher.lost(trace::noMemory) == (isQueued ? 0 : 1));
        })
            .join();
    }
    CHECK(lost >= 3);
    CHECK(lost < 8);
}

TEST_CASE("a line for which the queue can get no room is lost alone, and counted", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink).setLevel(tl_info);
    quiet.queue(tl_error, L"lost");
    quiet.queue(tl_debug, L"refused");
    {
        const allocations::failure noMemory;
        traceimpltest::drain(quiet.dispatcher);
    }
    quiet.queue(tl_error, L"after");

    CHECK(quiet.texts() == std::vector<std::wstring>{L"after"});
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 1);
    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 1);
}

TEST_CASE("a pass that has no memory to begin with loses its lines, and counts them", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.queue(4, tl_error, L"lost");
    quiet.texts(); // drained
    {
        const allocations::failure noMemory;
        quiet.dispatcher.flushQueue(0);
    }

    CHECK(quiet.texts().empty());
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 4);
}

TEST_CASE("a thread that is in a sink's call starts no pass: its flushes return at once", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    bool flushed = true;
    bool waited = true;
    bool synced = true;
    sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"outer") {
            quiet.queue(tl_always, L"inner");
            flushed = quiet.dispatcher.flushQueue(0);
            waited = quiet.dispatcher.flushQueue(1000);
            synced = quiet.dispatcher.sync(1000);
        }
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"outer");
    const scriptedclock clock;

    quiet.dispatcher.flushQueue(0);

    CHECK_FALSE(flushed);
    CHECK_FALSE(waited);
    CHECK_FALSE(synced);
    CHECK(clock.sleeps() == 0);
    CHECK(sink.events() == events_t{"clone 1", "1: outer"});
    CHECK(quiet.texts() == std::vector<std::wstring>{L"inner"});
}

TEST_CASE("a sink's record stays as it is while the sink traces and flushes", "[trace]")
{
    const std::wstring longText(3000, L'x');
    std::vector<std::wstring> seen;
    quietdispatcher quiet; // at its end the sink gets what is left
    const readingsink sink([&](const formattedline& line) {
        formattedline copied(line);
        const std::wstring before = formattedlinetest::body(copied).c_str();
        quiet.queue(tl_always, L"inner");
        quiet.dispatcher.flushQueue(0);
        quiet.dispatcher.sync(0);
        formattedline after(line);
        CHECK(formattedlinetest::body(after).c_str() == before);
        seen.push_back(before);
    });
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"short");
    quiet.queue(tl_always, longText.c_str());

    quiet.dispatcher.flushQueue(0);

    CHECK(seen == std::vector<std::wstring>{L"short", longText});
    CHECK(quiet.texts() == std::vector<std::wstring>{L"inner", L"inner"});
}

TEST_CASE("an allocator that traces within a pass costs no line, and adds its own", "[trace]")
{
    const std::wstring longText(3000, L'x');
    int interruptions = 0;
    for (unsigned long long before = 0; before < 40; ++before) {
        CAPTURE(before);
        quietdispatcher quiet;
        const probesink sink(1);
        quiet.dispatcher.output(sink).setLevel(tl_info);
        quiet.queue(tl_info, L"first");
        quiet.queue(tl_info, longText.c_str());
        quiet.queue(tl_info, L"last");
        unsigned long long own = 0;
        const std::function<void()> trace = [&] {
            ++own;
            quiet.queue(tl_info, L"own");
        };
        {
            const allocations::interruption interrupted(before, trace);
            quiet.dispatcher.flushQueue(0);
        }
        quiet.dispatcher.flushQueue(0);

        const sinkcounts& counts = traceimpltest::counts(quiet.dispatcher, 1);
        CHECK(counts.written + quiet.dispatcher.lost(trace::noMemory) == 3 + own);
        CHECK(counts.written >= 3);
        interruptions += static_cast<int>(counts.written) - 3;
    }
    CHECK(interruptions > 5);
}

TEST_CASE("what a sink traces beyond 2000 lines is dropped and counted", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"outer") {
            quiet.queue(2100, tl_always, L"inner");
        }
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"outer");

    quiet.dispatcher.flushQueue(0);

    CHECK(quiet.texts().size() == 2000);
    CHECK(quiet.dispatcher.lost(trace::busySink) == 100);
    quiet.dispatcher.flushQueue(0);
    CHECK(sink.events().size() == 2 + 2000);
}

TEST_CASE("the limits hold for the lines of all threads together", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink).setLevel(tl_info);
    const auto elsewhere = [&](int count, tracelevel_t level) {
        std::thread([&] { quiet.queue(count, level, L"line"); }).join();
    };

    elsewhere(400, tl_trace);
    elsewhere(599, tl_info);
    quiet.queue(tl_info, L"line");
    CHECK(quiet.texts().size() == 1000);
    elsewhere(1, tl_trace); // the 1001st
    CHECK(quiet.texts().size() == 600);

    elsewhere(1000, tl_info);
    elsewhere(100, tl_trace);
    quiet.queue(400, tl_info, L"line");
    CHECK(quiet.texts().size() == 2000);
    CHECK(sink.events() == events_t{"clone 1"});
    elsewhere(1, tl_info); // the 2001st
    CHECK(quiet.texts().empty());
    CHECK(sink.events().size() == 2002);
}

TEST_CASE("threads that trace at once go beyond the limits by a line each at most", "[trace]")
{
    constexpr int threadCount = 4;
    quietdispatcher quiet;
    std::atomic<bool> isHeld{true};
    gate entered;
    const probesink sink(1);
    std::size_t most = 0;
    sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"first") {
            entered.open();
            while (isHeld) {
                traceimpltest::drain(quiet.dispatcher);
                most = std::max(most, traceimpltest::waiting(quiet.dispatcher));
                // the lock is to be free most of the time
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        }
    };
    quiet.dispatcher.output(sink).setLevel(tl_info);
    quiet.queue(tl_info, L"first");
    std::thread flushing([&] { quiet.dispatcher.flushQueue(0); });
    entered.wait();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] { quiet.queue(20000, tl_info, L"line"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    isHeld = false;
    flushing.join();

    CHECK(most <= 2000 + threadCount);
    CHECK(most > 500);
    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.dispatcher.lost(trace::busySink) + sink.events().size() - 1 ==
          threadCount * 20000 + 1);
}

TEST_CASE("between 1000 and 2000 lines what no sink takes takes no lock", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    gate isFull;
    gate isHeld;
    bool finished = false;
    std::thread tracing([&] {
        quiet.queue(1100, tl_info, L"taken");
        isFull.open();
        isHeld.wait();
        quiet.queue(5000, tl_debug, L"refused");
        finished = true;
    });
    isFull.wait();
    {
        const lockobject held(quiet.dispatcher.m_instanceMutex);
        isHeld.open();
        tracing.join();
    }

    CHECK(finished);
    CHECK(quiet.texts().size() == 1100);
    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 5000);
}

TEST_CASE("lines of a usual number take no lock", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    gate isReady;
    gate isHeld;
    std::thread tracing([&] {
        quiet.queue(1, tl_info, L"first"); // this one makes the thread known
        isReady.open();
        isHeld.wait();
        quiet.queue(30, tl_info, L"line");
        traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
    });
    isReady.wait();
    {
        const lockobject held(quiet.dispatcher.m_instanceMutex);
        const heldelsewhere heldToo(traceimpltest::streamMutex(quiet.dispatcher));
        isHeld.open();
        tracing.join();
    }

    CHECK(quiet.texts().size() == 32);
}

TEST_CASE("sync is at once true when nothing is queued, or no sink is attached", "[trace]")
{
    quietdispatcher quiet;
    const scriptedclock clock;

    CHECK(quiet.dispatcher.sync(0));
    quiet.queue(tl_always, L"nobody's");
    CHECK(quiet.dispatcher.sync(0));
    traceimpltest::emptyQueue(quiet.dispatcher);
    quiet.dispatcher.output(probesink(1));
    CHECK(quiet.dispatcher.sync(0));
    CHECK(clock.sleeps() == 0);
}

TEST_CASE("sync of 0 milliseconds only asks", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"line");
    const scriptedclock clock;

    CHECK_FALSE(quiet.dispatcher.sync(0));
    CHECK(clock.sleeps() == 0);
    CHECK(quiet.texts().size() == 1);

    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.dispatcher.sync(0));
}

TEST_CASE("sync waits for the writer, however often others trace meanwhile", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    std::atomic<bool> goOn{true};
    std::thread other([&] {
        while (goOn) {
            traceimpltest::queue(dispatcher, function, tl_always, L"other");
            std::this_thread::yield();
        }
    });

    for (int round = 0; round < 20; ++round) {
        const unsigned long long lostBefore = dispatcher.lost(trace::busySink);
        traceimpltest::queue(dispatcher, function, tl_always, std::to_wstring(round).c_str());
        CHECK(dispatcher.sync(10000));
        const events_t events = sink.events();
        const bool isWritten =
            std::find(events.begin(), events.end(), "1: " + std::to_string(round)) != events.end();
        // a sink that is not scheduled looks like one that is busy
        CHECK((isWritten || dispatcher.lost(trace::busySink) != lostBefore));
    }
    goOn = false;
    other.join();
}

TEST_CASE("sync writes itself where no writer runs", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"line");

    CHECK(quiet.dispatcher.sync(10000));

    CHECK(sink.events() == events_t{"clone 1", "1: line"});
}

TEST_CASE("sync waits for a batch that is being written, and gives up in time", "[trace]")
{
    quietdispatcher quiet;
    auto busy = std::make_unique<busysink>(quiet);
    scriptedclock clock;

    CHECK_FALSE(quiet.dispatcher.sync(0));
    CHECK_FALSE(quiet.dispatcher.sync(50));
    CHECK(clock.sleptMilliseconds() == 50);

    clock.whenSleeping([&] { busy.reset(); });
    CHECK(quiet.dispatcher.sync(10));
}

TEST_CASE("sync is true when the lines were lost", "[trace]")
{
    quietdispatcher quiet;
    {
        const busysink busy(quiet);
        quiet.queue(3, tl_always, L"lost");
        quiet.dispatcher.flushQueue(0);
        CHECK(quiet.dispatcher.lost(trace::busySink) == 3);
        CHECK_FALSE(quiet.dispatcher.sync(0)); // of the busy sink's own line nothing is known yet
    }
    CHECK(quiet.dispatcher.sync(0));
}

TEST_CASE("each record is written, lost or refused once for each sink", "[trace]")
{
    quietdispatcher quiet;
    const probesink throwing(1);
    throwing.told().onLog = [](const std::wstring& text) {
        if (text == L"bad") {
            throw std::runtime_error("broken sink");
        }
    };
    quiet.queue(7, tl_always, L"nobody's");
    quiet.dispatcher.flushQueue(0);
    quiet.dispatcher.output(throwing).setLevel(tl_info);
    quiet.dispatcher.output(probesink(2)).setLevel(tl_debug);
    quiet.queue(5, tl_info, L"good");
    quiet.queue(4, tl_info, L"bad");
    quiet.queue(3, tl_debug, L"debug");
    quiet.queue(2, tl_trace, L"trace");

    quiet.dispatcher.flushQueue(0);

    const sinkcounts& first = traceimpltest::counts(quiet.dispatcher, 1);
    CHECK(first.written == 5);
    CHECK(first.lost[trace::destination] == 4);
    CHECK(first.refused == 5);
    const sinkcounts& second = traceimpltest::counts(quiet.dispatcher, 2);
    CHECK(second.written == 12);
    CHECK(second.refused == 2);
    CHECK(traceimpltest::nobodys(quiet.dispatcher) == 7);
    CHECK(quiet.dispatcher.lost(trace::destination) == 4);

    quiet.dispatcher.remove(throwing);
    CHECK(quiet.dispatcher.lost(trace::destination) == 4); // what is lost stays lost
}

TEST_CASE("pruned lines are refused once by each sink", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_error);
    quiet.dispatcher.output(probesink(2)).setLevel(tl_warning);

    quiet.queue(1001, tl_info, L"refused");
    CHECK(quiet.texts().empty());
    quiet.dispatcher.flushQueue(0);

    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 1001);
    CHECK(traceimpltest::counts(quiet.dispatcher, 2).refused == 1001);
}

TEST_CASE("nothing is lost for a reason that there is not", "[trace]")
{
    quietdispatcher quiet;

    CHECK(quiet.dispatcher.lost(static_cast<trace::lossreason>(-1)) == 0);
    CHECK(quiet.dispatcher.lost(static_cast<trace::lossreason>(4)) == 0);
}

TEST_CASE("a line that a handler traces while its thread stages another is lost alone, and counted",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.queue(tl_info, L"before");
    {
        const insidelibrary staging; // as the handler finds its thread
        quiet.queue(tl_info, L"interrupts");
        quiet.queue(tl_debug, L"refused");
        traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
    }
    quiet.queue(tl_info, L"after");

    CHECK(quiet.texts() == std::vector<std::wstring>{L"before", L"after"});
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 1);
    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 2);
}

TEST_CASE("many interrupted lines are counted by their level", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.queue(tl_info, L"before");
    {
        const insidelibrary staging;
        quiet.queue(300, tl_debug, L"refused");
        quiet.queue(200, tl_info, L"interrupts");
    }
    traceimpltest::drain(quiet.dispatcher);

    CHECK(quiet.dispatcher.lost(trace::noMemory) == 200);
    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 300);
}

TEST_CASE("interrupted lines of more functions than can be noted are counted for every sink",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    std::vector<const hashedfunction*> functions;
    for (int function = 0; function < 70; ++function) {
        functions.push_back(&quiet.dispatcher.registerfunction("void f()"));
    }
    quiet.queue(tl_info, L"before");
    {
        const insidelibrary staging;
        for (const hashedfunction* const function : functions) {
            traceimpltest::queue(quiet.dispatcher, *function, tl_debug, L"refused");
        }
    }
    traceimpltest::drain(quiet.dispatcher);

    CHECK(traceimpltest::counts(quiet.dispatcher, 1).refused == 64);
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 70 - 64);
}

TEST_CASE("interrupted lines are counted without a sink, too", "[trace]")
{
    quietdispatcher quiet;
    quiet.queue(tl_info, L"before");
    {
        const insidelibrary staging;
        quiet.queue(200, tl_info, L"interrupts");
    }
    traceimpltest::emptyQueue(quiet.dispatcher);

    CHECK(traceimpltest::nobodys(quiet.dispatcher) == 200 + 1);
}

TEST_CASE("lines go on, in order, when the counter of cycles begins anew", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(3, tl_always, L"before");
    traceimpltest::drain(quiet.dispatcher);
    quiet.queue(1500, tl_always, L"staged before");
    tolvane::stamps::fallBehind(tolvane::stamps::now() / 2);

    CHECK_FALSE(quiet.dispatcher.sync(0));
    quiet.queue(1500, tl_always, L"staged after"); // past 2000 the thread writes
    CHECK(sink.events().size() == 1 + 2001);
    quiet.queue(tl_always, L"the last but one");
    std::thread([&] { quiet.queue(tl_always, L"the last"); }).join();
    CHECK_FALSE(quiet.dispatcher.sync(0));
    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.dispatcher.sync(0));

    const events_t events = sink.events();
    CHECK(events.size() == 1 + 3005);
    CHECK(events[events.size() - 2] == "1: the last but one");
    CHECK(events.back() == "1: the last");
}

TEST_CASE("a line that waited to be staged has its place behind what was staged meanwhile",
          "[trace]")
{
    quietdispatcher quiet;
    gate isKnown;
    gate isClosed;
    std::atomic<bool> comes{false};
    std::thread waiting([&] {
        quiet.queue(tl_always, L"first");
        isKnown.open();
        isClosed.wait();
        comes = true;
        quiet.queue(tl_always, L"waited");
    });
    isKnown.wait();
    {
        const lockobject held(quiet.dispatcher.m_instanceMutex);
        traceimpltest::closeBudget(quiet.dispatcher);
        isClosed.open();
        while (!comes) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it is at the lock by then
        quiet.queue(tl_always, L"meanwhile");
    }
    waiting.join();

    CHECK(quiet.texts() == std::vector<std::wstring>{L"first", L"meanwhile", L"waited"});
}

TEST_CASE("removing a sink within a sink's call takes no lines from the running pass", "[trace]")
{
    quietdispatcher quiet;
    const probesink other(2);
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"outer") {
            quiet.queue(tl_always, L"inner");
            quiet.dispatcher.remove(other);
        }
    };
    quiet.dispatcher.output(sink);
    quiet.dispatcher.output(other);
    quiet.queue(tl_always, L"outer");

    quiet.dispatcher.flushQueue(0);

    CHECK(sink.events() == events_t{"clone 1", "1: outer"});
    CHECK(other.events() == events_t{"clone 2", "2: outer", "delete 2"});
    CHECK(quiet.texts() == std::vector<std::wstring>{L"inner"});
}

TEST_CASE("sinks are destroyed while other threads go on", "[trace]")
{
    quietdispatcher quiet;
    bool wentOn = true;
    const probesink sink(1);
    sink.told().onDelete = [&] {
        std::atomic<bool> isThrough{false};
        std::thread other([&] {
            quiet.dispatcher.maxLevel(quiet.function);
            isThrough = true;
        });
        for (int wait = 0; wait < 1000 && !isThrough; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        wentOn = wentOn && isThrough;
        other.detach();
    };
    quiet.dispatcher.output(sink);
    quiet.dispatcher.output(sink); // replaces it
    quiet.dispatcher.remove(sink);

    CHECK(wentOn);
    CHECK(sink.events() == events_t{"clone 1", "clone 1", "delete 1", "delete 1"});
}

TEST_CASE("what a sink traces is dropped beyond 2000 lines although levels change meanwhile",
          "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring& text) {
        for (int line = 0; text == L"outer" && line < 3000; ++line) {
            quiet.dispatcher.setLevel(tl_info, tolvane::string());
            quiet.queue(tl_info, L"inner");
        }
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"outer");

    quiet.dispatcher.flushQueue(0);

    CHECK(quiet.texts().size() == 2000);
    CHECK(quiet.dispatcher.lost(trace::busySink) == 1000);
}

TEST_CASE("a thread's lines come out when it has ended", "[trace]")
{
    quietdispatcher quiet;
    for (int thread = 0; thread < 10; ++thread) {
        std::thread([&] { quiet.queue(50, tl_info, L"line"); }).join();
    }

    CHECK(quiet.texts().size() == 500);
}

TEST_CASE("a thread that has left its stage queues behind all that is staged", "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink).setLevel(tl_info);
    quiet.queue(tl_info, L"of another thread");
    std::thread([&] {
        quiet.queue(tl_info, L"of the thread");
        traceimpltest::leaveThread();
        quiet.queue(tl_info, L"late");
        traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
        CHECK(quiet.texts() ==
              std::vector<std::wstring>{L"of another thread", L"of the thread", L"late", L""});
        quiet.queue(1997, tl_always, L"line");
        quiet.queue(tl_always, L"the 2001st");
    }).join();

    CHECK(quiet.texts().empty());
    CHECK(sink.events().size() == 1 + 2001);
}
