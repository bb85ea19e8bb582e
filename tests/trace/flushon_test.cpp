#include <tolvane/tolvane.h>

#include "stacktrace/structuredexception.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <climits>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using events_t = std::vector<std::string>;

constexpr auto off = static_cast<tracelevel_t>(-1);

/// A dispatcher without a writer, and a sink that takes everything.
struct flushed : quietdispatcher
{
    flushed() { dispatcher.output(sink).setLevel(tl_trace); }

    /// What the sink was given.
    events_t lines() const
    {
        events_t all = sink.events();
        all.erase(all.begin()); // of its attachment
        return all;
    }

    const probesink sink{1};
};

/// Turned off again at the end, for other tests.
struct flushesOn
{
    explicit flushesOn(tracelevel_t level) { trace::flushOn(level); }
    ~flushesOn() { trace::flushOn(off); }
};

} // namespace

TEST_CASE("a line is not written by itself at first", "[trace][flushon]")
{
    flushed quiet;

    quiet.queue(tl_always, L"a");

    CHECK(quiet.lines().empty());
}

TEST_CASE("a line that is bad enough is written at once, with what was before it",
          "[trace][flushon]")
{
    flushed quiet;
    quiet.dispatcher.flushOn(tl_error);

    quiet.queue(tl_warning, L"a");
    CHECK(quiet.lines().empty());

    quiet.queue(tl_error, L"b");
    CHECK(quiet.lines() == events_t{"1: a", "1: b"});

    quiet.queue(tl_always, L"c");
    CHECK(quiet.lines() == events_t{"1: a", "1: b", "1: c"});
}

TEST_CASE("entry and exit lines are written at once, too", "[trace][flushon]")
{
    flushed quiet;
    quiet.dispatcher.flushOn(tl_trace);

    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_starting);
    CHECK(quiet.lines().size() == 1);

    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_exiting);
    CHECK(quiet.lines().size() == 2);
}

TEST_CASE("a level below all others turns it off", "[trace][flushon]")
{
    flushed quiet;
    for (const int level : {-1, -7, INT_MIN}) {
        quiet.dispatcher.flushOn(tl_error);
        quiet.dispatcher.flushOn(static_cast<tracelevel_t>(level));

        quiet.queue(tl_always, L"a");
        quiet.queue(traceimpltest::levelForAll, L"b");
    }

    CHECK(quiet.lines().empty());
}

TEST_CASE("a line of a thread that has no stage any more is written at once", "[trace][flushon]")
{
    flushed quiet;
    quiet.dispatcher.flushOn(tl_error);

    std::thread([&] {
        quiet.queue(tl_info, L"a");
        traceimpltest::leaveThread();
        quiet.queue(tl_info, L"b");
        CHECK(quiet.lines().empty());
        quiet.queue(tl_error, L"c");
        CHECK(quiet.lines() == events_t{"1: a", "1: b", "1: c"});
    }).join();
}

TEST_CASE("a hardware fault of a sink is not the line's, but told of by the writer",
          "[trace][flushon]")
{
    std::unique_ptr<tracestream> undestroyed; // by the dispatcher, which does not touch it any more
    flushed quiet;
    undestroyed.reset(traceimpltest::sink(quiet.dispatcher, quiet.sink.id()));
    quiet.dispatcher.flushOn(tl_error);
    quiet.sink.told().onLog = [](const std::wstring&) { throw StructuredException("a fault"); };

    CHECK_NOTHROW(quiet.queue(tl_error, L"a"));
    CHECK_THROWS_AS(traceimpltest::writePass(quiet.dispatcher), StructuredException);

    CHECK_NOTHROW(quiet.queue(tl_error, L"b")); // the sink gets no more lines
    CHECK_NOTHROW(traceimpltest::writePass(quiet.dispatcher));
    CHECK(quiet.dispatcher.lost(trace::destination) == 2);
}

TEST_CASE("a sink's fault that the writer has not told of is told of at the end",
          "[trace][flushon]")
{
    std::unique_ptr<tracestream> undestroyed; // by the dispatcher, which does not touch it any more
    std::ostringstream standardError;
    std::streambuf* const buffer = std::cerr.rdbuf(standardError.rdbuf());
    const probesink told(1);
    {
        const attached all(told, tl_error);
        flushed quiet;
        undestroyed.reset(traceimpltest::sink(quiet.dispatcher, quiet.sink.id()));
        quiet.dispatcher.flushOn(tl_error);
        quiet.sink.told().onLog = [](const std::wstring&) { throw StructuredException("a fault"); };
        quiet.queue(tl_error, L"a");
        CHECK(told.events().size() == 1); // the clone's

        quiet.dispatcher.stop();
        const events_t events = told.events();
        CHECK(std::count(events.begin(), events.end(), "1: a fault. Trace follows:") == 1);
    }
    trace::remove(ostreamtracestream<char>(std::cerr)); // a report attaches it
    std::cerr.rdbuf(buffer);
}

TEST_CASE("a line within a sink's call waits for the call's end", "[trace][flushon]")
{
    flushed quiet;
    quiet.dispatcher.flushOn(tl_error);
    events_t within;
    quiet.sink.told().onLog = [&](const std::wstring& text) {
        if (text == L"a") {
            quiet.queue(tl_error, L"b");
            within = quiet.lines();
        }
    };

    quiet.queue(tl_error, L"a");

    CHECK(within == events_t{"1: a"});
    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.lines() == events_t{"1: a", "1: b"});
}

TEST_CASE("a line that another thread is writing is waited for", "[trace][flushon]")
{
    flushed quiet;
    gate entered;
    gate release;
    quiet.sink.told().onLog = [&](const std::wstring&) {
        entered.open();
        release.wait();
    };
    std::thread writer([&] {
        quiet.queue(tl_info, L"a");
        quiet.dispatcher.flushQueue(0);
    });
    entered.wait();
    scriptedclock clock;
    bool isWritten = false;
    clock.whenSleeping([&] {
        if (!isWritten) {
            release.open();
            writer.join();
            isWritten = true;
        }
    });

    traceimpltest::flushLine(quiet.dispatcher);

    CHECK(isWritten);
    CHECK(clock.sleeps() == 1);
    if (!isWritten) {
        release.open();
        writer.join();
    }
}

TEST_CASE("a sink that is busy costs the line, and does not hold it up", "[trace][flushon]")
{
    flushed quiet;
    quiet.dispatcher.flushOn(tl_error);
    gate entered;
    gate release;
    quiet.sink.told().onLog = [&](const std::wstring&) {
        entered.open();
        release.wait();
    };
    std::thread writer([&] {
        quiet.queue(tl_info, L"a");
        quiet.dispatcher.flushQueue(0);
    });
    entered.wait();

    quiet.queue(tl_error, L"b");
    traceimpltest::flushLine(quiet.dispatcher); // as if the other one had taken it

    CHECK(quiet.dispatcher.lost(trace::busySink) == 1);
    release.open();
    writer.join();
    CHECK(quiet.lines() == events_t{"1: a"});
}

TEST_CASE("when a statement at the level ends its line is there", "[trace][flushon]")
{
    const remembersink sink;
    const attached attachment(sink, tl_info);
    TOLVANE_SCOPE(log);
    const flushesOn errors(tl_error);
    using lines_t = std::vector<std::wstring>;

    TOLVANE_LOG(log, tl_info) << "a";
    TOLVANE_LOG(log, tl_error) << "b";
    CHECK(sink.bodies() == lines_t{L"a", L"b"});

    TOLVANE_LOGF(log, tl_always, "c");
    CHECK(sink.count() == 3);

    log(tl_error) << L"d" << std::endl;
    CHECK(sink.count() == 4);
}
