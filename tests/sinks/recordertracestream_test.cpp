#include <tolvane/tolvane.h>

#include "stacktrace/structuredexception.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/limitedfiles.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/traceimpltest.h"
#include "trace/linecontents.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using lines_t = std::vector<std::wstring>;

/// A dispatcher without a writer, and a recorder that takes everything.
struct recorded : quietdispatcher
{
    explicit recorded(unsigned long long lines, tracelevel_t level = tl_error)
        : recorder(static_cast<recordertracestream&>(
              dispatcher.output(recordertracestream(lines, sink, level))))
    {
        recorder.setLevel(tl_trace);
    }

    void trace(tracelevel_t level, const wchar_t* text)
    {
        queue(level, text);
        dispatcher.flushQueue(0);
    }

    lines_t bodies() const { return sink.bodies(); }

    const remembersink sink;
    recordertracestream& recorder;
};

} // namespace

TEST_CASE("a recorder keeps lines until a bad one comes, which follows them", "[sinks][recorder]")
{
    recorded quiet(10);

    quiet.trace(tl_trace, L"a");
    quiet.trace(tl_warning, L"b");
    CHECK(quiet.bodies().empty());

    quiet.trace(tl_error, L"c");
    CHECK(quiet.bodies() == lines_t{L"a", L"b", L"c"});
}

TEST_CASE("a recorder hands each line on once", "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.trace(tl_info, L"a");

    quiet.trace(tl_error, L"b");
    quiet.trace(tl_always, L"c");
    quiet.trace(tl_info, L"d");
    quiet.trace(tl_error, L"e");

    CHECK(quiet.bodies() == lines_t{L"a", L"b", L"c", L"d", L"e"});
}

TEST_CASE("a recorder keeps the newest lines", "[sinks][recorder]")
{
    recorded quiet(3);
    for (const wchar_t* const text : {L"a", L"b", L"c", L"d", L"e"}) {
        quiet.trace(tl_info, text);
    }

    quiet.trace(tl_error, L"f");

    CHECK(quiet.bodies() == lines_t{L"c", L"d", L"e", L"f"});
}

TEST_CASE("a recorder of no lines hands on the bad ones", "[sinks][recorder]")
{
    recorded quiet(0);
    quiet.trace(tl_info, L"a");

    quiet.trace(tl_error, L"b");

    CHECK(quiet.bodies() == lines_t{L"b"});
}

TEST_CASE("a recorder's level decides which lines are bad ones", "[sinks][recorder]")
{
    recorded quiet(10, tl_info);

    quiet.trace(tl_verbose, L"a");
    CHECK(quiet.bodies().empty());
    quiet.trace(tl_info, L"b");
    CHECK(quiet.bodies() == lines_t{L"a", L"b"});
}

TEST_CASE("a recorder's own levels decide what is kept", "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.recorder.setLevel(tl_info);

    quiet.trace(tl_debug, L"a");
    quiet.trace(tl_info, L"b");
    quiet.trace(tl_error, L"c");

    CHECK(quiet.bodies() == lines_t{L"b", L"c"});
}

TEST_CASE("kept lines are whole: their time, their thread and their long texts",
          "[sinks][recorder]")
{
    const remembersink plain;
    recorded quiet(10);
    quiet.dispatcher.output(plain).setLevel(tl_trace);
    const std::wstring text(5000, L'x');
    quiet.trace(tl_info, text.c_str());
    quiet.trace(tl_info, L"short");
    traceimpltest::queueMarker(quiet.dispatcher, quiet.function, formattedline::tt_starting);

    quiet.trace(tl_error, L"b");

    CHECK(quiet.sink.lines() == plain.lines());
    CHECK(quiet.bodies().size() == 4);
}

TEST_CASE("dumping a recorder hands on what it keeps, and what waits", "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.trace(tl_info, L"a");
    quiet.queue(tl_info, L"b");

    quiet.dispatcher.dump(quiet.recorder);
    CHECK(quiet.bodies() == lines_t{L"a", L"b"});

    quiet.dispatcher.dump(quiet.recorder);
    CHECK(quiet.bodies().size() == 2);
}

TEST_CASE("a recorder that is not attached has nothing to dump", "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.trace(tl_info, L"a");

    quiet.dispatcher.dump(recordertracestream(10, quiet.sink));

    CHECK(quiet.bodies().empty());
}

TEST_CASE("a recorder may be dumped within a sink's call", "[sinks][recorder]")
{
    recorded quiet(10);
    const probesink other(~0ULL); // behind the recorder
    other.told().onLog = [&](const std::wstring& text) {
        if (text == L"b") {
            quiet.dispatcher.dump(quiet.recorder);
        }
    };
    quiet.dispatcher.output(other).setLevel(tl_trace);
    quiet.trace(tl_info, L"a");

    quiet.trace(tl_info, L"b");

    CHECK(quiet.bodies() == lines_t{L"a", L"b"});
}

TEST_CASE("a fault report brings the lines on, whatever the level", "[sinks][recorder]")
{
    recorded quiet(10, tl_always);
    quiet.trace(tl_info, L"a");
    quiet.queue(tl_info, L"b");
    const auto lines = std::make_shared<packedlines>();
    tolvane::string text(L"the report");
    appendLine(*lines, tl_error, quiet.function, textcontent{text});
    const remembersink standardError;

    quiet.dispatcher.report(standardError, tl_error, lines, 10000);

    CHECK(quiet.bodies() == lines_t{L"a", L"b", L"the report"});
    CHECK(standardError.bodies() == lines_t{L"the report"});
}

TEST_CASE("a recorder stands beside a sink for the same destination, and replaces another recorder "
          "of it",
          "[sinks][recorder]")
{
    const remembersink sink;
    const recordertracestream recorder(10, sink);

    CHECK(recorder.id() != sink.id());
    CHECK(recorder.id() == recordertracestream(5, sink, tl_info).id());
    CHECK(recorder.id() != recordertracestream(10, remembersink()).id());
    CHECK(std::unique_ptr<recordertracestream>(recorder.clone())->id() == recorder.id());
}

TEST_CASE("a recorder's sink has levels that count for nothing", "[sinks][recorder]")
{
    remembersink sink;
    sink.clearLevels(tl_always);
    quietdispatcher quiet;
    quiet.dispatcher.output(recordertracestream(10, sink)).setLevel(tl_trace);
    quiet.queue(tl_trace, L"a");
    quiet.queue(tl_error, L"b");

    quiet.dispatcher.flushQueue(0);

    CHECK(sink.bodies() == lines_t{L"a", L"b"});
}

TEST_CASE("a copied recorder has the levels, and a clone none; neither has lines",
          "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.trace(tl_info, L"a");

    recordertracestream copied(quiet.recorder);
    const std::unique_ptr<recordertracestream> cloned(quiet.recorder.clone());

    CHECK(copied.level(quiet.function) == tl_trace);
    CHECK(cloned->level(quiet.function) == tl_always);
    const remembersink& sink = quiet.sink;
    quietdispatcher other;
    auto& attached = static_cast<recordertracestream&>(other.dispatcher.output(copied));
    other.dispatcher.dump(attached);
    CHECK(sink.count() == 0);
}

TEST_CASE("what a recorder's sink throws costs one line, which is counted", "[sinks][recorder]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [](const std::wstring& text) {
        if (text == L"b" || text == L"d") {
            throw 1;
        }
    };
    tracestream& recorder = quiet.dispatcher.output(recordertracestream(10, sink));
    recorder.setLevel(tl_trace);
    for (const wchar_t* const text : {L"a", L"b", L"c"}) {
        quiet.queue(tl_info, text);
    }

    quiet.queue(tl_error, L"d");
    quiet.queue(tl_error, L"e");
    quiet.dispatcher.flushQueue(0);

    std::vector<std::string> events = sink.events();
    events.erase(events.begin(), events.begin() + 3); // the clones
    CHECK(events == std::vector<std::string>{"1: a", "1: b", "1: c", "1: d", "1: e"});
    CHECK(quiet.dispatcher.lost(trace::destination) == 2);
    CHECK(traceimpltest::counts(quiet.dispatcher, recorder.id()).written == 3);
}

TEST_CASE("what a recorder's sink throws when the lines are dumped is counted, too",
          "[sinks][recorder]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [](const std::wstring&) { throw 1; };
    auto& recorder =
        static_cast<recordertracestream&>(quiet.dispatcher.output(recordertracestream(10, sink)));
    recorder.setLevel(tl_trace);
    quiet.queue(3, tl_info, L"a");

    quiet.dispatcher.dump(recorder);

    CHECK(quiet.dispatcher.lost(trace::destination) == 3);
    CHECK(traceimpltest::counts(quiet.dispatcher, recorder.id()).written == 0);
}

TEST_CASE("lines that a recorder's file does not take are counted, and the error is told",
          "[sinks][recorder][describe]")
{
    const std::string line = "[2019-02-14 20:21:01.456 ]:4d2:[I]: a::f : a\r\n";
    limitedfiles files;
    quietdispatcher quiet;
    quiet.dispatcher.output(recordertracestream(10, filetracestream("full"))).setLevel(tl_trace);
    files.limits["full"] = 2 * line.size() + line.size() / 2;
    quiet.queue(4, tl_info, L"a");
    quiet.queue(tl_error, L"b");

    quiet.dispatcher.flushQueue(0);

    CHECK(quiet.dispatcher.lost(trace::destination) == 3);
    CHECK(std::count(files.files["full"].begin(), files.files["full"].end(), '\n') == 2);
    const std::string text = quiet.dispatcher.describe().narrow();
    CHECK(text.find("to file full: *=trace; 2 written, 3 lost; last error: ") != std::string::npos);
}

TEST_CASE("a recorder hands its lines on to a file with one opening", "[sinks][recorder]")
{
    limitedfiles files;
    quietdispatcher quiet;
    quiet.dispatcher.output(recordertracestream(1000, filetracestream("a"))).setLevel(tl_trace);
    quiet.queue(500, tl_info, L"a");
    quiet.queue(tl_error, L"b");

    quiet.dispatcher.flushQueue(0);

    CHECK(std::count(files.files["a"].begin(), files.files["a"].end(), '\n') == 501);
    CHECK(files.appends == 1);
}

TEST_CASE("the file of a recorder rotates where it would if every line were written at once",
          "[sinks][recorder]")
{
    const auto written = [](bool isRecorded) {
        limitedfiles files;
        quietdispatcher quiet;
        const rotatingfilestracestream file("a", 3, 1, 0);
        const recordertracestream recorder(1000, file);
        quiet.dispatcher.output(isRecorded ? static_cast<const tracestream&>(recorder) : file)
            .setLevel(tl_trace);
        quiet.queue(100, tl_info, L"a");
        quiet.queue(tl_error, L"b");
        quiet.dispatcher.flushQueue(0);
        std::vector<std::size_t> sizes;
        for (const auto& each : files.files) {
            sizes.push_back(each.second.size());
        }
        return sizes;
    };

    CHECK(written(true).size() == 3);
    CHECK(written(true) == written(false));
}

TEST_CASE("a hardware fault in a recorder's sink costs it all lines from then on",
          "[sinks][recorder]")
{
    std::unique_ptr<tracestream> undestroyed; // by the dispatcher, which does not touch it any more
    quietdispatcher quiet;
    const probesink sink(1);
    sink.told().onLog = [](const std::wstring& text) {
        if (text == L"b") {
            throw StructuredException("a fault");
        }
    };
    undestroyed.reset(&quiet.dispatcher.output(recordertracestream(10, sink)));
    undestroyed->setLevel(tl_trace);
    for (const wchar_t* const text : {L"a", L"b", L"c"}) {
        quiet.queue(tl_info, text);
    }
    quiet.queue(tl_error, L"d");

    CHECK_THROWS_AS(quiet.dispatcher.flushQueue(0), StructuredException);
    quiet.queue(tl_error, L"e");
    quiet.dispatcher.flushQueue(0);

    CHECK(sink.events().back() == "1: b");
    CHECK(quiet.dispatcher.lost(trace::destination) == 4);
    CHECK(std::string(quiet.dispatcher.describe().narrow())
              .find("1 written, 4 lost; it has faulted") != std::string::npos);
}

TEST_CASE("an application's own kind of recorder is dumped with a fault report",
          "[sinks][recorder]")
{
    class ownrecorder : public recordertracestream
    {
    public:
        using recordertracestream::recordertracestream;
        ownrecorder* clone() const override { return new ownrecorder(*this); }
    };
    const remembersink sink;
    quietdispatcher quiet;
    quiet.dispatcher.output(ownrecorder(10, sink)).setLevel(tl_trace);
    quiet.queue(tl_info, L"a");
    const auto lines = std::make_shared<packedlines>();
    tolvane::string text(L"the report");
    appendLine(*lines, tl_error, quiet.function, textcontent{text});

    quiet.dispatcher.report(remembersink(), tl_error, lines, 10000);

    CHECK(sink.bodies() == lines_t{L"a", L"the report"});
}

TEST_CASE("a recorder of a recorder is a destination of its own, and both are dumped",
          "[sinks][recorder]")
{
    const remembersink sink;
    const recordertracestream inner(10, sink, tl_always);
    const recordertracestream outer(10, inner);
    CHECK(outer.id() != sink.id());
    CHECK(outer.id() != inner.id());
    quietdispatcher quiet;
    auto& attached = static_cast<recordertracestream&>(quiet.dispatcher.output(outer));
    attached.setLevel(tl_trace);
    quiet.queue(tl_info, L"a");
    quiet.queue(tl_error, L"b");
    quiet.queue(tl_info, L"c");

    quiet.dispatcher.dump(attached);

    CHECK(sink.bodies() == lines_t{L"a", L"b", L"c"});
}

TEST_CASE("handing on many lines takes no other thread's patience away", "[sinks][recorder]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    std::vector<unsigned long long> moves;
    sink.told().onLog = [&](const std::wstring&) {
        moves.push_back(traceimpltest::moves(quiet.dispatcher));
    };
    quiet.dispatcher.output(recordertracestream(10, sink)).setLevel(tl_trace);
    quiet.queue(3, tl_info, L"a");
    quiet.queue(tl_error, L"b");

    quiet.dispatcher.flushQueue(0);

    REQUIRE(moves.size() == 4);
    CHECK(moves[0] < moves[1]);
    CHECK(moves[1] < moves[2]);
    CHECK(moves[2] < moves[3]);
}

TEST_CASE("without memory a recorder loses a line and no more", "[sinks][recorder]")
{
    recorded quiet(10);
    quiet.trace(tl_info, L"a");
    quiet.queue(tl_info, L"this text is longer than what needs no memory");
    traceimpltest::drain(quiet.dispatcher);
    for (unsigned long long allocationsBefore = 0; traceimpltest::waiting(quiet.dispatcher) != 0;
         ++allocationsBefore) {
        const allocations::failure noMemory(allocationsBefore);
        quiet.dispatcher.flushQueue(0);
    }

    quiet.trace(tl_error, L"b");

    CHECK(quiet.bodies().front() == L"a");
    CHECK(quiet.bodies().back() == L"b");
    CHECK(quiet.bodies().size() + quiet.dispatcher.lost(trace::destination) +
              quiet.dispatcher.lost(trace::noMemory) ==
          3);
}

TEST_CASE("a recorder tells its sink, its level and its lines", "[sinks][recorder][describe]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(recordertracestream(100, filetracestream("a.log"), tl_warning));

    CHECK(std::string(quiet.dispatcher.describe().narrow()) ==
          "recorder of 100 lines before warning to file a.log: *=always; 0 written, 0 lost\n");
}

TEST_CASE("the application dumps its recorder by the reference that it got", "[sinks][recorder]")
{
    const remembersink sink;
    const recordertracestream recorder(10, sink);
    const attached attachment(recorder, tl_trace);
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "a";
    }

    static_cast<recordertracestream&>(attachment.stored()).dump();

    CHECK(sink.bodies() == lines_t{L"starting", L"a", L"exiting"});
}
