#include <tolvane/tolvane.h>

#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/recorderfile.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using lines_t = std::vector<std::string>;

constexpr std::size_t kib = 1024;

/// A dispatcher without a writer, and a recorder's file in a folder.
struct recorded : quietdispatcher
{
    explicit recorded(unsigned long long size = 4) { attach(size); }

    tracestream& attach(unsigned long long size)
    {
        tracestream& sink =
            dispatcher.output(recorderfiletracestream(folder.path() / "a.rec", size));
        sink.setLevel(tl_info);
        return sink;
    }

    void trace(const wchar_t* text)
    {
        queue(tl_info, text);
        dispatcher.flushQueue(0);
    }

    /// What stands behind the functions' names; "none" when it is no recorder's file.
    lines_t bodies() const
    {
        const auto lines = linesOfRecorderFile(folder.read("a.rec"));
        lines_t found;
        for (const std::string& line : lines ? *lines : lines_t{" : none"}) {
            found.push_back(line.substr(line.find(" : ") + 3));
        }
        return found;
    }

    unsigned long long lost() { return dispatcher.lost(trace::destination); }

    const temporaryfolder folder;
};

} // namespace

TEST_CASE("a recorder's file has the lines as soon as they are written", "[sinks][recorder]")
{
    recorded quiet;

    quiet.trace(L"a");
    quiet.trace(L"b\nc");

    CHECK(quiet.bodies() == lines_t{"a", "b\nc"});
    const std::string bytes = quiet.folder.read("a.rec");
    CHECK(bytes.find("]: a::f : a\n") != std::string::npos);
    CHECK(quiet.lost() == 0);
}

TEST_CASE("a recorder's file has its size from the first line on", "[sinks][recorder]")
{
    recorded quiet(8);
    CHECK_FALSE(quiet.folder.has("a.rec"));

    for (int line = 0; line < 300; ++line) {
        quiet.trace(L"a line of usual length, as there are many of them");
        REQUIRE(quiet.folder.read("a.rec").size() == 8 * kib);
    }

    const lines_t bodies = quiet.bodies();
    CHECK(bodies.size() > 8 * kib / 150);
    CHECK(bodies.size() < 300);
}

TEST_CASE("a recorder's file has at least 4 KiB", "[sinks][recorder]")
{
    for (const unsigned long long size : {0ULL, 1ULL, 4ULL}) {
        recorded quiet(size);
        quiet.trace(L"a");
        CHECK(quiet.folder.read("a.rec").size() == 4 * kib);
    }
}

TEST_CASE("a file that no disk has room for costs the lines, and is not left half made",
          "[sinks][recorder]")
{
    recorded quiet(~0ULL);

    quiet.trace(L"a");

    CHECK(quiet.lost() == 1);
    CHECK(quiet.folder.read("a.rec").empty());
    CHECK(std::string(quiet.dispatcher.describe().narrow()).find("last error: ") !=
          std::string::npos);
}

TEST_CASE("lines beyond ASCII are UTF-8, whatever the locale", "[sinks][recorder]")
{
    recorded quiet;

    quiet.trace(L"gr\u00F6\u00DFe \u65E5\u672C");

    CHECK(quiet.bodies() == lines_t{"gr\xC3\xB6\xC3\x9F"
                                    "e \xE6\x97\xA5\xE6\x9C\xAC"});
}

TEST_CASE("a line that is longer than the file is lost", "[sinks][recorder]")
{
    recorded quiet;
    quiet.trace(L"a");

    quiet.trace(std::wstring(5 * kib, L'x').c_str());
    quiet.trace(L"b");

    CHECK(quiet.lost() == 1);
    CHECK(quiet.bodies() == lines_t{"a", "b"});
}

TEST_CASE("the lines of an earlier run stay in front of the new ones", "[sinks][recorder]")
{
    recorded quiet;
    quiet.trace(L"a");

    quiet.attach(4);
    quiet.trace(L"b");

    CHECK(quiet.bodies() == lines_t{"a", "b"});
}

TEST_CASE("a recorder's file of another size begins anew", "[sinks][recorder]")
{
    recorded quiet(4);
    for (const unsigned long long size : {8ULL, 4ULL}) {
        quiet.trace(L"a");

        quiet.attach(size);
        quiet.trace(L"b");

        CHECK(quiet.bodies() == lines_t{"b"});
        CHECK(quiet.folder.read("a.rec").size() == size * kib);
    }
}

TEST_CASE("a file with something else in it is left as it is", "[sinks][recorder]")
{
    recorded quiet;
    for (const std::string& bytes : {std::string("notes"), std::string(4 * kib, 'x')}) {
        std::ofstream(quiet.folder.file("a.rec"), std::ios::binary) << bytes;
        quiet.attach(4);

        quiet.trace(L"a");

        CHECK(quiet.folder.read("a.rec") == bytes);
    }
    CHECK(quiet.lost() == 2);
    CHECK(std::string(quiet.dispatcher.describe().narrow()).find("last error: ") !=
          std::string::npos);
}

TEST_CASE("a file of zeros, whose making was cut short, is made anew", "[sinks][recorder]")
{
    recorded quiet;
    std::ofstream(quiet.folder.file("a.rec"), std::ios::binary) << std::string(4 * kib, '\0');

    quiet.trace(L"a");

    CHECK(quiet.bodies() == lines_t{"a"});
}

TEST_CASE("a file whose mark was being written when its program was killed is begun anew",
          "[sinks][recorder]")
{
    const std::string mark = "tolvane recorder file 1\n";
    for (std::size_t written = 1; written != mark.size(); ++written) {
        for (const bool isErased : {false, true}) { // another program's, in the place of which
            std::string begin(32, '\0');
            begin.replace(isErased ? written : 0, isErased ? mark.size() - written : written, mark,
                          isErased ? written : 0, isErased ? mark.size() - written : written);
            recorded quiet;
            std::ofstream(quiet.folder.file("a.rec"), std::ios::binary)
                << begin << std::string(4 * kib - begin.size(), '\0');

            quiet.trace(L"a");

            CHECK(quiet.bodies() == lines_t{"a"});
        }
    }
}

TEST_CASE("a short text that is how the mark begins is somebody's", "[sinks][recorder]")
{
    recorded quiet;
    std::ofstream(quiet.folder.file("a.rec")) << "tolvane recorder";

    quiet.trace(L"a");

    CHECK(quiet.folder.read("a.rec") == "tolvane recorder");
    CHECK(quiet.lost() == 1);
}

TEST_CASE("no other sink of the program has a recorder's file, though others read it meanwhile",
          "[sinks][recorder]")
{
    recorded quiet;
    quiet.trace(L"a");
    CHECK(quiet.bodies().size() == 1); // opens and closes it
    quietdispatcher other;
    other.dispatcher.output(recorderfiletracestream(quiet.folder.path() / "a.rec", 4))
        .setLevel(tl_info);

    other.queue(tl_info, L"other's");
    other.dispatcher.flushQueue(0);
    quiet.trace(L"b");

    CHECK(other.dispatcher.lost(trace::destination) == 1);
    CHECK(quiet.bodies() == lines_t{"a", "b"});
}

TEST_CASE("a recorder's file by another spelling of its name is the same one", "[sinks][recorder]")
{
    const std::filesystem::path other =
        GENERATE(std::filesystem::path("a.rec"), std::filesystem::path("b") / ".." / "a.rec");
    recorded quiet;
    std::filesystem::create_directory(quiet.folder.path() / "b");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(quiet.folder.path());
    quiet.trace(L"a");
    quietdispatcher another;
    another.dispatcher.output(recorderfiletracestream(other, 4)).setLevel(tl_info);

    another.queue(tl_info, L"other's");
    another.dispatcher.flushQueue(0);
    std::filesystem::current_path(before);

    CHECK(another.dispatcher.lost(trace::destination) == 1);
    CHECK(quiet.bodies() == lines_t{"a"});
}

TEST_CASE("a file that cannot be opened is tried again a second later", "[sinks][recorder]")
{
    const temporaryfolder folder;
    quietdispatcher quiet;
    scriptedclock clock;
    quiet.dispatcher.output(recorderfiletracestream(folder.path() / "none" / "a.rec", 4))
        .setLevel(tl_info);
    quiet.queue(tl_info, L"a");
    quiet.dispatcher.flushQueue(0);
    std::filesystem::create_directory(folder.path() / "none");

    quiet.queue(tl_info, L"b");
    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.dispatcher.lost(trace::destination) == 2);

    tolvane::Clock::current().sleep(1000);
    quiet.queue(tl_info, L"c");
    quiet.dispatcher.flushQueue(0);
    CHECK(quiet.dispatcher.lost(trace::destination) == 2);
    CHECK(linesOfRecorderFile(folder.read("none/a.rec"))->size() == 1);
}

TEST_CASE("a recorder's file and a file sink of one name replace each other", "[sinks][recorder]")
{
    CHECK(recorderfiletracestream("a", 4).id() == filetracestream("a").id());
    CHECK(recorderfiletracestream("a", 4).id() == recorderfiletracestream("a", 8).id());
    CHECK(recorderfiletracestream("a", 4).id() != recorderfiletracestream("b", 4).id());
}

TEST_CASE("a copy of a recorder's file has the levels, and a clone none", "[sinks][recorder]")
{
    const quietdispatcher quiet;
    recorderfiletracestream sink("a", 4);
    sink.setLevel(tl_debug);

    CHECK(recorderfiletracestream(sink).level(quiet.function) == tl_debug);
    const std::unique_ptr<recorderfiletracestream> cloned(sink.clone());
    CHECK(cloned->level(quiet.function) == tl_always);
    CHECK(cloned->id() == sink.id());
}

TEST_CASE("a recorder's file is told with its size", "[sinks][recorder][describe]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(recorderfiletracestream("a.rec", 64));

    CHECK(std::string(quiet.dispatcher.describe().narrow()) ==
          "recorder file a.rec (64 KiB): *=always; 0 written, 0 lost\n");
}
