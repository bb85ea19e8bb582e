#include "trace/traceimpl.h"

#include "tests/helpers/allocations.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <cerrno>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using events_t = std::vector<std::string>;

/// A dispatcher whose writer does not start, so that a test sees the queue.
struct quietdispatcher
{
    quietdispatcher() { traceimpltest::running(dispatcher) = false; }

    void queue(tracelevel_t level, const wchar_t* text)
    {
        traceimpltest::queue(dispatcher, function, level, text);
    }

    void queue(int count, tracelevel_t level, const wchar_t* text)
    {
        for (int index = 0; index < count; ++index) {
            queue(level, text);
        }
    }

    /// Queues a line while allocations fail, but for so many.
    /// \return whether it was queued; if not, unqueued is what became of its text.
    bool queueWithoutMemory(unsigned long long allocationsBefore)
    {
        tolvane::string text(L"without memory");
        const lockobject lock(dispatcher.m_instanceMutex);
        try {
            const allocations::failure noMemory(allocationsBefore);
            dispatcher.queueLine(tl_error, function, text);
        } catch (const std::bad_alloc&) {
            unqueued = text.c_str();
            return false;
        }
        return true;
    }

    std::vector<std::wstring> texts() { return traceimpltest::texts(dispatcher); }

    traceimpl dispatcher;
    std::wstring unqueued;
    const hashedfunction& function = dispatcher.registerfunction("void a::f()");
};

long long millisecondsOf(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    const auto took = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
}

} // namespace

TEST_CASE("a queued line holds level, function and text, and leaves the caller's text empty",
          "[trace]")
{
    quietdispatcher quiet;
    tolvane::string text(L"a longer text that needs the heap");
    {
        const lockobject lock(quiet.dispatcher.m_instanceMutex);
        quiet.dispatcher.queueLine(tl_info, quiet.function, text);
    }

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

TEST_CASE("flush(0) drops its lines when the sinks stay busy, and later lines are written",
          "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"lost");
    {
        const heldelsewhere held(traceimpltest::streamMutex(quiet.dispatcher));
        scriptedclock clock;
        constexpr unsigned long long ticksPerMillisecond = 10000;
        clock.setTicksPerSleep(ticksPerMillisecond);

        CHECK(quiet.dispatcher.flushQueue(0));

        CHECK(clock.sleptMilliseconds() == 2); // and not half a second
    }
    CHECK(quiet.texts().empty());
    quiet.queue(tl_always, L"kept");
    quiet.dispatcher.flushQueue(0);

    CHECK(sink.events() == events_t{"clone 1", "1: kept"});
}

TEST_CASE("the writer drops its lines when the sinks stay busy, and writes later ones", "[trace]")
{
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink(1);
    dispatcher.output(sink);
    {
        const tolvane::Auto_Mutex held(traceimpltest::streamMutex(dispatcher));
        traceimpltest::queue(dispatcher, function, tl_always, L"lost");
        REQUIRE(traceimpltest::waitForWriter(dispatcher));
        CHECK(traceimpltest::entries(dispatcher).empty());
    }
    traceimpltest::queue(dispatcher, function, tl_always, L"kept");
    REQUIRE(traceimpltest::waitForWriter(dispatcher));

    CHECK(sink.events() == events_t{"clone 1", "1: kept"});
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
    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    gate entered;
    gate release;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) {
        entered.open();
        release.wait();
    };
    dispatcher.output(sink);
    traceimpltest::queue(dispatcher, function, tl_always, L"blocks");
    REQUIRE(entered.wait());

    for (int line = 0; line < 100; ++line) { // not with the sink lock, not for the writer
        traceimpltest::queue(dispatcher, function, tl_always, L"more");
        dispatcher.maxLevel(function);
    }
    CHECK(sink.events() == events_t{"clone 1", "1: blocks"});

    release.open();
    REQUIRE(traceimpltest::waitForWriter(dispatcher));
    CHECK(sink.events().size() == 102);
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

TEST_CASE("a record that is used again holds nothing of its line before", "[trace]")
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

TEST_CASE("in a steady flow lines allocate nothing but what goes through a custom sink", "[trace]")
{
    quietdispatcher quiet;
    tolvane::string text;
    const auto queueHundred = [&] {
        const lockobject lock(quiet.dispatcher.m_instanceMutex);
        for (int line = 0; line < 100; ++line) {
            text.append(L"as long as every line of this flow");
            quiet.dispatcher.queueLine(tl_info, quiet.function, text);
        }
    };
    for (int round = 0; round < 2; ++round) { // one batch becomes spare records, one the queue
        queueHundred();
        quiet.dispatcher.flushQueue(0);
    }

    const unsigned long long before = allocations::count();
    queueHundred();

    CHECK(allocations::count() == before);
}

TEST_CASE("the first line gets the queue memory for all lines that it will ever hold", "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_trace);
    const auto queueMarkers = [&](int count) {
        for (int marker = 0; marker < count; ++marker) {
            traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
        }
    };
    queueMarkers(1);

    const unsigned long long before = allocations::count();
    queueMarkers(1999);

    CHECK(allocations::count() == before + 2 * 1999); // a record and its count
    CHECK(quiet.texts().size() == 2000);
}

TEST_CASE("records of long texts are not kept", "[trace]")
{
    quietdispatcher quiet;
    quiet.queue(10, tl_info, std::wstring(2000, L'x').c_str());
    quiet.queue(5, tl_info, L"short");

    quiet.dispatcher.flushQueue(0);

    CHECK(traceimpltest::spareLines(quiet.dispatcher) == 5);
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

TEST_CASE("a line without memory is lost alone", "[trace]")
{
    for (const bool queueHasMemory : {false, true}) {
        for (unsigned long long allocationsBefore = 0; allocationsBefore < 4; ++allocationsBefore) {
            quietdispatcher quiet;
            std::vector<std::wstring> expected;
            const auto queue = [&](const wchar_t* text) {
                quiet.queue(tl_error, text);
                expected.emplace_back(text);
            };
            if (queueHasMemory) {
                queue(L"before");
            }

            const bool queued = quiet.queueWithoutMemory(allocationsBefore);
            if (queued) {
                expected.emplace_back(L"without memory");
            }
            queue(L"after");

            CHECK(quiet.texts() == expected);
            CHECK((allocationsBefore > 0 || !queued));
            CHECK((allocationsBefore < 3 || queued)); // the queue's memory, a record and its count
        }
    }
}

TEST_CASE("a queue that cannot grow leaves the spare records and the text as they were", "[trace]")
{
    quietdispatcher quiet;
    quiet.queue(4, tl_error, L"earlier");
    quiet.dispatcher.flushQueue(0);
    REQUIRE(traceimpltest::spareLines(quiet.dispatcher) == 4);

    CHECK_FALSE(quiet.queueWithoutMemory(0));

    CHECK(traceimpltest::spareLines(quiet.dispatcher) == 4);
    CHECK(quiet.unqueued == L"without memory");
    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_starting);
    CHECK(quiet.texts() == std::vector<std::wstring>{L""});
}
