#include <tolvane/tolvane.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/busysink.h"
#include "tests/helpers/memoryfiles.h"
#include "tests/helpers/pipedstandarderror.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/scriptedterminals.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>

namespace {

/// A dispatcher without a writer, whose file of settings and whose time are the test's.
class followed : public quietdispatcher
{
public:
    void write(const std::string& text) { files.files[path] = text; }
    void remove() { files.files.erase(path); }
    bool follow() { return dispatcher.followSettings(path.c_str()); }

    /// As often as the writer has passed when so much time is over.
    void pass(unsigned int milliseconds)
    {
        constexpr unsigned int interval = 10;
        for (unsigned int past = 0; past < milliseconds; past += interval) {
            tolvane::Clock::current().sleep(interval);
            traceimpltest::lookAtSettings(dispatcher);
        }
    }

    /// The settings of now are in force.
    void change(const std::string& text)
    {
        write(text);
        pass(1100);
    }

    tracestream* sinkOf(const char* file)
    {
        return traceimpltest::sink(dispatcher, filetracestream(file).id());
    }

    /// Of a sink for the file, for a function; -1 when there is none.
    int level(const char* file, const char* name)
    {
        const tracestream* const sink = sinkOf(file);
        return sink ? sink->level(hashedfunction(name)) : -1;
    }

    std::size_t sinks() { return traceimpltest::sinks(dispatcher); }

    memoryfiles files;
    scriptedclock clock;
    const std::string path = "settings";
};

} // namespace

TEST_CASE("a followed file attaches what it names", "[trace][settings]")
{
    followed program;
    program.write(
        "\xEF\xBB\xBF*=info, shop=trace > file:a.log\r\n\r\n*=error > rotating:b.log:3:4\r\n");

    CHECK(program.follow());

    CHECK(program.sinks() == 2);
    CHECK(program.level("a.log", "shop::f") == tl_trace);
    CHECK(program.level("a.log", "f") == tl_info);
    CHECK(program.level("b.log", "f") == tl_error);
}

TEST_CASE("a change of the file is found within a second or so", "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log");
    program.follow();
    program.files.reads = 0;

    program.write("*=debug > file:a.log");
    program.pass(900);
    CHECK(program.files.reads == 0);
    CHECK(program.level("a.log", "f") == tl_info);

    program.pass(200);
    CHECK(program.level("a.log", "f") == tl_debug);
    CHECK(program.files.reads == 2);

    program.pass(5000);
    CHECK(program.files.reads == 7);
}

TEST_CASE("a file that somebody is writing is waited for", "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log");
    program.follow();

    program.write("");
    program.pass(1000);
    program.write("*=debug > fi");
    program.pass(10);
    CHECK(program.level("a.log", "f") == tl_info);

    program.write("*=debug > file:a.log");
    program.pass(20);
    CHECK(program.level("a.log", "f") == tl_debug);
}

TEST_CASE("a name that went from the file loses its level", "[trace][settings]")
{
    followed program;
    program.write("*=info, shop=trace, bank=error > file:a.log");
    program.follow();
    tracestream* const before = program.sinkOf("a.log");

    program.change("*=info, bank=debug > file:a.log");

    CHECK(program.sinkOf("a.log") == before);
    CHECK(program.level("a.log", "shop::f") == tl_info);
    CHECK(program.level("a.log", "bank::f") == tl_debug);

    program.change("bank=debug > file:a.log");
    CHECK(program.level("a.log", "shop::f") == tl_always);
}

TEST_CASE("a destination that is not named any more is detached, and a new one attached",
          "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log; *=info > file:b.log");
    program.follow();

    program.change("*=info > file:b.log; *=info > file:c.log");

    CHECK(program.sinks() == 2);
    CHECK_FALSE(program.sinkOf("a.log"));
    CHECK(program.sinkOf("b.log"));
    CHECK(program.level("c.log", "f") == tl_info);

    program.change("");
    CHECK(program.sinks() == 0);
}

TEST_CASE("a destination with other figures is attached anew", "[trace][settings]")
{
    followed program;
    program.write("*=info > rotating:a.log:3:4");
    program.follow();
    rotatingfilestracestream other("other", 2, 1, 0);
    program.dispatcher.output(other); // takes memory that was just freed
    const tracestream* const before = program.sinkOf("a.log");

    program.change("*=debug > rotating:a.log:3:5");

    CHECK(program.sinkOf("a.log") != before);
    CHECK(program.level("a.log", "f") == tl_debug);
    CHECK(program.sinks() == 2);
}

TEST_CASE("what the application has attached itself is left alone", "[trace][settings]")
{
    followed program;
    program.dispatcher.output(filetracestream("own.log")).setLevel(tl_warning);
    program.write("*=info > file:a.log; *=debug > file:own.log");
    program.follow();
    CHECK(program.level("own.log", "f") == tl_warning);

    program.change("*=trace > file:own.log");
    CHECK(program.level("own.log", "f") == tl_warning);
    CHECK_FALSE(program.sinkOf("a.log"));

    program.change("*=info > file:a.log");
    CHECK(program.level("own.log", "f") == tl_warning);

    program.dispatcher.output(filetracestream("a.log")).setLevel(tl_error);
    program.change("");
    CHECK(program.level("a.log", "f") == tl_error);
}

TEST_CASE("lines that wait are written by the levels of before, to the sinks of before",
          "[trace][settings]")
{
    followed program;
    program.write("");
    program.follow();
    const probesink sink{1};
    program.dispatcher.output(sink).setLevel(tl_info);
    program.queue(tl_info, L"a");

    program.change("*=info > file:a.log");

    CHECK(sink.events() == std::vector<std::string>{"clone 1", "1: a"});
}

TEST_CASE("a malformed file changes nothing, and a line says so once", "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log");
    program.follow();
    const pipedstandarderror errors;

    program.change("*=debug > file:a.log; shop");
    program.pass(5000);

    CHECK(program.level("a.log", "f") == tl_info);
    std::string said = errors.read();
    said.erase(std::remove(said.begin(), said.end(), '\r'), said.end());
    CHECK(said == "tolvane: settings: \"shop\": \"shop\" has no level\n");
    program.change("*=debug > file:a.log");
    CHECK(program.level("a.log", "f") == tl_debug);
}

TEST_CASE("a file that is malformed at first is followed all the same", "[trace][settings]")
{
    followed program;
    program.write("shop");
    {
        const pipedstandarderror errors;
        CHECK_FALSE(program.follow());
        CHECK(errors.read().find("has no level") != std::string::npos);
    }
    CHECK(program.sinks() == 0);

    program.change("*=debug > file:a.log");
    CHECK(program.level("a.log", "f") == tl_debug);
}

TEST_CASE("a file that is not there yet is followed all the same, and one that went leaves all as "
          "it was",
          "[trace][settings]")
{
    followed program;
    CHECK_FALSE(program.follow());
    CHECK(program.sinks() == 0);

    program.change("*=debug > file:a.log");
    CHECK(program.level("a.log", "f") == tl_debug);

    program.remove();
    program.pass(5000);
    CHECK(program.level("a.log", "f") == tl_debug);

    program.change("*=info > file:a.log");
    CHECK(program.level("a.log", "f") == tl_info);
}

TEST_CASE("another file is followed instead, and none when there is no path", "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log");
    program.follow();
    program.files.files["other"] = "*=debug > file:b.log";

    CHECK(program.dispatcher.followSettings("other"));
    CHECK_FALSE(program.sinkOf("a.log"));
    CHECK(program.level("b.log", "f") == tl_debug);

    CHECK_FALSE(program.dispatcher.followSettings(""));
    program.files.files["other"] = "";
    program.files.reads = 0;
    program.pass(5000);
    CHECK(program.level("b.log", "f") == tl_debug);
    CHECK(program.files.reads == 0);
}

TEST_CASE("a file that is too large for settings is none", "[trace][settings]")
{
    followed program;
    program.write(std::string((1 << 20) + 1, ' '));

    CHECK_FALSE(program.follow());
}

TEST_CASE("while a sink is busy the settings wait", "[trace][settings]")
{
    followed program;
    program.write("");
    program.follow();
    busysink busy(program);

    program.change("*=info > file:a.log");
    CHECK(program.sinks() == 1);

    busy.release();
    program.pass(10);
    CHECK(program.sinks() == 2);
}

TEST_CASE("while a sink is busy a malformed file is complained of once", "[trace][settings]")
{
    followed program;
    program.write("");
    program.follow();
    busysink busy(program);
    const pipedstandarderror errors;

    program.change("shop");
    program.pass(10);
    program.pass(10);
    const std::string said = errors.read();
    busy.release();

    CHECK(std::count(said.begin(), said.end(), '\n') == 1);
}

TEST_CASE("without memory settings stay, and are tried again", "[trace][settings]")
{
    followed program;
    program.write("*=info > file:a.log");
    program.follow();
    program.write("*=debug, shop=trace > file:a.log; *=info > file:b.log");
    program.pass(1000); // seen once

    for (unsigned long long allocationsBefore = 0; allocationsBefore < 60; ++allocationsBefore) {
        const allocations::failure noMemory(allocationsBefore);
        program.pass(10);
        CHECK(program.sinks() >= 1);
    }

    program.pass(1100);
    CHECK(program.level("a.log", "shop::f") == tl_trace);
    CHECK(program.level("b.log", "f") == tl_info);
}

TEST_CASE("settings that the application's call had no memory for are put in force later",
          "[trace][settings]")
{
    bool isDone = false;
    unsigned long long allocationsBefore = 0;
    for (; !isDone; ++allocationsBefore) {
        followed program;
        program.write("*=info > file:a.log");
        program.follow();
        program.write("*=debug, shop=trace > file:a.log; *=info > file:b.log");
        try {
            const allocations::failure noMemory(allocationsBefore);
            isDone = program.follow();
        } catch (const std::bad_alloc&) {
        }

        program.pass(1100);

        CHECK(program.level("a.log", "shop::f") == tl_trace);
        CHECK(program.level("b.log", "f") == tl_info);
    }
    CHECK(allocationsBefore > 30);
}

TEST_CASE("the writer does not look at the environment for colours", "[trace][settings]")
{
    scriptedterminals terminals;
    followed program;
    program.write("");
    program.follow();
    CHECK(terminals.questions != 0);
    terminals.questions = 0;

    program.change("*=info > stdout; *=error > stderr");
    program.change("*=debug > stdout");

    CHECK(program.sinks() == 1);
    CHECK(terminals.questions == 0);
}

TEST_CASE("a file that is named for text and for JSON gets what is named last", "[trace][settings]")
{
    followed program;
    program.write("*=info > json:a.log; *=debug > file:a.log");
    program.follow();
    CHECK(std::string(program.dispatcher.describe().narrow()) ==
          "file a.log: *=debug; 0 written, 0 lost\n");

    program.change("*=info > file:a.log; *=debug > json:a.log");
    CHECK(std::string(program.dispatcher.describe().narrow()) ==
          "JSON file a.log: *=debug; 0 written, 0 lost\n");
}

TEST_CASE("a file that is not followed starts no writer", "[trace][settings]")
{
    const memoryfiles files;
    traceimpl dispatcher;

    CHECK_FALSE(dispatcher.followSettings(""));
    CHECK_FALSE(traceimpltest::writer(dispatcher).started());

    CHECK_FALSE(dispatcher.followSettings("missing"));
    CHECK(traceimpltest::writer(dispatcher).started());
}

TEST_CASE("what is wrong with the followed file is told until it is mended",
          "[trace][settings][describe]")
{
    const std::string none = "no sink is attached\n";
    const std::string unreadable =
        "settings settings: the file cannot be read, or is larger than a mebibyte\n";
    const std::string malformed = "settings settings: \"shop\": \"shop\" has no level\n";
    followed program;
    const auto told = [&] { return std::string(program.dispatcher.describe().narrow()); };
    program.follow();
    CHECK(told() == none + unreadable);

    {
        const pipedstandarderror errors;
        program.change("shop");
        CHECK(told() == none + malformed);
        program.remove();
        program.pass(1100);
        CHECK(told() == none + unreadable);
        program.change("shop");
        CHECK(told() == none + malformed);
    }

    program.change("");
    CHECK(told() == none);
    {
        const pipedstandarderror errors;
        program.write("shop");
        CHECK_FALSE(program.follow());
    }
    CHECK(told() == none + malformed);
    program.dispatcher.followSettings("");
    CHECK(told() == none);
}

TEST_CASE("names of files in settings are UTF-8, whatever the locale", "[trace][settings]")
{
    const temporaryfolder folder;
    const std::string name = "\xE6\x97\xA5";
    const std::string path = folder.file("") + name;
    quietdispatcher quiet;
    std::ofstream(folder.path() / "settings", std::ios::binary)
        << "*=info > file:" << path << ".log\n*=info > json:" << path
        << ".json\n*=info > rotating:" << path << ":3:0\n";
    REQUIRE(quiet.dispatcher.followSettings(folder.file("settings").c_str()));
    quiet.queue(2, tl_info, L"a");

    quiet.dispatcher.flushQueue(0);

    CHECK(quiet.dispatcher.lost(trace::destination) == 0);
    for (const char* const end : {".log", ".json", "", ".0", ".1"}) {
        CHECK(std::filesystem::exists(folder.path() / std::filesystem::u8path(name + end)));
    }
    CHECK(folder.entries() == 6);
}

TEST_CASE("the writer follows a file that is replaced", "[trace][settings]")
{
    const temporaryfolder folder;
    const std::filesystem::path settings = folder.path() / "settings";
    const auto write = [](const std::filesystem::path& file, const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
    };
    const std::string destination = " > file:" + folder.file("a.log");
    write(settings, "*=error, followed=info" + destination);
    REQUIRE(trace::followSettings(settings));
    CHECK(trace::level("followed::f") == tl_info);

    write(folder.path() / "new", "*=error, followed=debug" + destination);
    std::filesystem::rename(folder.path() / "new", settings);

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (trace::level("followed::f") != tl_debug && std::chrono::steady_clock::now() < deadline) {
        trace::flush(100); // the writer passes
    }
    CHECK(trace::level("followed::f") == tl_debug);

    write(settings, "");
    CHECK(trace::followSettings(settings)); // detaches
    CHECK(trace::level("followed::f") == tl_always);
    CHECK_FALSE(trace::followSettings(""));
}
