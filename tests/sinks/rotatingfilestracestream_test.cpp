#include <tolvane/rotatingfilestracestream.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/limitedfiles.h"
#include "tests/helpers/memoryfiles.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <limits>
#include <random>

namespace {

constexpr unsigned long long day = 86400000; // milliseconds
constexpr unsigned long long noAgeLimit = 0;
constexpr unsigned long long everyLine = 0; // KiB
constexpr unsigned long long sizeEnough = 1000000;

/// In a folder that does not exist, so that lines are lost and only the file system in memory tells
/// of files.
const char* const nowhere = "no-such-folder/trace.log";

const hashedfunction function("void f()");

void log(tracestream& sink, const wchar_t* text = L"text")
{
    sink.log(formattedlinetest::text(tl_info, function, text));
}

/// A text that makes the rendered line as long as that.
std::wstring bodyForLength(std::size_t length)
{
    const formattedline empty = formattedlinetest::text(tl_info, function, L"");
    return std::wstring(length - formattedlinetest::render(empty).size(), L'x');
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string numbered(unsigned long long number)
{
    return std::string(nowhere) + '.' + std::to_string(number);
}

/// The rotation as one would write it down: every number in turn.
void rotateOneByOne(memoryfiles& files, unsigned long long oldest)
{
    for (unsigned long long i = oldest; i > 0; --i) {
        files.remove(numbered(i));
        files.rename(numbered(i - 1), numbered(i));
    }
    files.remove(numbered(0));
    files.rename(nowhere, numbered(0));
    files.createEmpty(nowhere);
}

using content_t = std::map<std::string, std::string>;

} // namespace

TEST_CASE("a size limit of 0 starts a new file after every line", "[sinks]")
{
    const temporaryfolder folder;
    rotatingfilestracestream sink(folder.file("trace.log").c_str(), 5, everyLine, noAgeLimit);

    log(sink, L"first");
    log(sink, L"second");
    log(sink, L"third");

    CHECK(endsWith(folder.read("trace.log.0"), "third\r\n"));
    CHECK(endsWith(folder.read("trace.log.1"), "second\r\n"));
    CHECK(endsWith(folder.read("trace.log.2"), "first\r\n"));
    CHECK(folder.has("trace.log"));
    CHECK(folder.read("trace.log").empty());
    CHECK(folder.entries() == 4);
}

TEST_CASE("fewer than two files count as two", "[sinks]")
{
    const unsigned long long files = GENERATE(0ULL, 1ULL, 2ULL);
    CAPTURE(files);
    const temporaryfolder folder;
    rotatingfilestracestream sink(folder.file("trace.log").c_str(), files, everyLine, noAgeLimit);

    log(sink, L"first");
    log(sink, L"second");

    CHECK(folder.entries() == 2);
    CHECK(endsWith(folder.read("trace.log.0"), "second\r\n"));
}

TEST_CASE("with five files the oldest has number 3 and goes first", "[sinks]")
{
    const temporaryfolder folder;
    rotatingfilestracestream sink(folder.file("trace.log").c_str(), 5, everyLine, noAgeLimit);

    for (const wchar_t* const text : {L"1", L"2", L"3", L"4", L"5", L"6"}) {
        log(sink, text);
    }

    CHECK(folder.entries() == 5);
    CHECK(endsWith(folder.read("trace.log.0"), " 6\r\n"));
    CHECK(endsWith(folder.read("trace.log.3"), " 3\r\n"));
}

TEST_CASE("files numbered beyond the count are never touched", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.files = {
        {nowhere, "current"}, {numbered(0), "zero"}, {numbered(1), "one"}, {numbered(7), "seven"}};
    rotatingfilestracestream sink(nowhere, 2, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files == content_t{{nowhere, "empty"},
                                   {numbered(0), "current"},
                                   {numbered(1), "one"},
                                   {numbered(7), "seven"}});
}

TEST_CASE(
    "the size is the status's, and then grows by the characters of the lines without their ends",
    "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {900, 1};
    rotatingfilestracestream sink(nowhere, 2, 1, noAgeLimit);
    const std::wstring sixtyTwo = bodyForLength(62);

    log(sink, sixtyTwo.c_str()); // 900: the line is in the status already
    log(sink, sixtyTwo.c_str()); // 962
    CHECK(files.operations == 0);
    CHECK(files.statusReads == 1);

    log(sink, sixtyTwo.c_str()); // 1024
    CHECK(files.operations == 2);
}

TEST_CASE("with line feeds alone the size grows by the bytes that are written", "[sinks][lineend]")
{
    memoryfiles files;
    files.nextStatus = {900, 1};
    const rotatingfilestracestream made(nowhere, 2, 1, noAgeLimit, tolvane::lineend::lf);
    rotatingfilestracestream sink(made);
    const std::wstring sixtyOne = bodyForLength(61);

    log(sink, sixtyOne.c_str()); // 900: the line is in the status already
    log(sink, sixtyOne.c_str()); // 962
    CHECK(files.operations == 0);
    log(sink, sixtyOne.c_str()); // 1024
    CHECK(files.operations != 0);
}

TEST_CASE("one character below the size limit nothing rotates", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    rotatingfilestracestream sink(nowhere, 2, 1, noAgeLimit);

    log(sink);
    log(sink, bodyForLength(1022).c_str());

    CHECK(files.operations == 0);
}

TEST_CASE("after a rotation the new file's status is read", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1024, 1};
    rotatingfilestracestream sink(nowhere, 2, 1, noAgeLimit);
    log(sink);
    REQUIRE(files.operations == 2);

    files.nextStatus = {500, 1};
    log(sink);
    log(sink);

    CHECK(files.statusReads == 2);
    CHECK(files.operations == 2);
}

TEST_CASE("a status that cannot be read is read again after the next line", "[sinks]")
{
    memoryfiles files;
    files.statusKnown = false;
    rotatingfilestracestream sink(nowhere, 2, everyLine, 1);

    log(sink);
    log(sink);
    CHECK(files.statusReads == 2);
    CHECK(files.operations == 0);

    files.statusKnown = true;
    files.nextStatus = {1, 1};
    log(sink);
    CHECK(files.operations == 2);
}

TEST_CASE("a file of unknown start or without bytes does not rotate", "[sinks]")
{
    memoryfiles files;
    rotatingfilestracestream sink(nowhere, 2, everyLine, 1);

    files.nextStatus = {0, 1};
    log(sink);
    files.nextStatus = {1, 0};
    log(sink);

    CHECK(files.operations == 0);
}

TEST_CASE("a file rotates when it is as old as the limit", "[sinks]")
{
    scriptedclock clock;
    memoryfiles files;
    files.nextStatus = {1, 1000};
    rotatingfilestracestream sink(nowhere, 2, sizeEnough, 2);

    clock.setLocalMilliseconds(1000 * 1000 + 2 * day - 1);
    log(sink);
    CHECK(files.operations == 0);

    clock.setLocalMilliseconds(1000 * 1000 + 2 * day);
    log(sink);
    CHECK(files.operations == 2);
}

TEST_CASE("an age limit of 0 days never rotates", "[sinks]")
{
    scriptedclock clock;
    memoryfiles files;
    files.nextStatus = {1, 1};
    rotatingfilestracestream sink(nowhere, 2, sizeEnough, noAgeLimit);

    clock.setLocalMilliseconds(100000 * day);
    log(sink);

    CHECK(files.operations == 0);
}

TEST_CASE("a clock before the file's start does not rotate by age", "[sinks]")
{
    scriptedclock clock;
    memoryfiles files;
    files.nextStatus = {1, 1000};
    rotatingfilestracestream sink(nowhere, 2, sizeEnough, 1);

    clock.setLocalMilliseconds(1000 * 1000 - 1);
    log(sink);
    clock.setLocalMilliseconds(0);
    log(sink);

    CHECK(files.operations == 0);
}

TEST_CASE("limits that do not fit 64 bits wrap", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};

    SECTION("a size whose bytes wrap to 0")
    {
        rotatingfilestracestream sink(nowhere, 2, 1ULL << 54, noAgeLimit);
        log(sink);
        CHECK(files.operations == 2);
    }
    SECTION("an age whose milliseconds wrap to 0")
    {
        rotatingfilestracestream sink(nowhere, 2, sizeEnough, 1ULL << 54);
        log(sink);
        CHECK(files.operations == 2);
    }
    SECTION("a size beyond, whose bytes wrap to 1024")
    {
        rotatingfilestracestream sink(nowhere, 2, (1ULL << 54) + 1, noAgeLimit);
        log(sink);
        CHECK(files.operations == 0);
    }
}

TEST_CASE("numbers that cannot have a file are skipped, however many files are kept", "[sinks]")
{
    const unsigned long long count =
        GENERATE(1000000000ULL, std::numeric_limits<unsigned long long>::max());
    CAPTURE(count);
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.files = {{nowhere, "current"},
                   {numbered(0), "zero"},
                   {numbered(5), "five"},
                   {numbered(900000000), "far"}};
    rotatingfilestracestream sink(nowhere, count, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files == content_t{{nowhere, "empty"},
                                   {numbered(0), "current"},
                                   {numbered(1), "zero"},
                                   {numbered(6), "five"},
                                   {numbered(900000001), "far"}});
    CHECK(files.operations < 20);
    CHECK(files.listings == 1);
}

TEST_CASE("a rotation does what deleting and renaming number by number does, also where that fails",
          "[sinks]")
{
    std::mt19937 random(20);
    const auto chance = [&random](unsigned int outOf) { return random() % outOf == 0; };
    for (int round = 0; round < 300; ++round) {
        CAPTURE(round);
        const unsigned long long oldest =
            random() % 130; // below and above what is tried one by one
        content_t start = {{nowhere, "current"}};
        std::set<std::string> fixed;
        for (unsigned long long number = 0; number < 140; ++number) {
            if (chance(3)) {
                start[numbered(number)] = std::to_string(number);
            }
            if (chance(20)) {
                fixed.insert(numbered(number));
            }
        }
        content_t expected;
        {
            memoryfiles files;
            files.files = start;
            files.fixed = fixed;
            rotateOneByOne(files, oldest);
            expected = files.files;
        }
        memoryfiles files;
        files.nextStatus = {1, 1};
        files.files = start;
        files.fixed = fixed;
        files.canList = chance(2);
        rotatingfilestracestream sink(nowhere, oldest + 2, everyLine, noAgeLimit);

        log(sink);

        CHECK(files.files == expected);
    }
}

TEST_CASE("in a folder that cannot be listed the lowest numbers still rotate", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.canList = false;
    files.files = {{nowhere, "current"}, {numbered(0), "zero"}};
    rotatingfilestracestream sink(nowhere, 1000000000, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files[numbered(0)] == "current");
    CHECK(files.files[numbered(1)] == "zero");
}

TEST_CASE("in a folder that cannot be listed no file is lost, however many there are", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.canList = false;
    files.files = {{nowhere, "current"}};
    content_t expected = {{nowhere, "empty"}, {numbered(0), "current"}};
    for (unsigned long long number = 0; number < 300; ++number) {
        files.files[numbered(number)] = std::to_string(number);
        expected[numbered(number + 1)] = std::to_string(number);
    }
    rotatingfilestracestream sink(nowhere, 1000000000, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files == expected);
}

TEST_CASE("in a folder that cannot be listed files behind a long gap stay where they are",
          "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.canList = false;
    files.files = {{nowhere, "current"},
                   {numbered(0), "zero"},
                   {numbered(65), "behind 64 missing ones"},
                   {numbered(131), "behind 65 missing ones"}};
    rotatingfilestracestream sink(nowhere, 1000000000, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files == content_t{{nowhere, "empty"},
                                   {numbered(0), "current"},
                                   {numbered(1), "zero"},
                                   {numbered(66), "behind 64 missing ones"},
                                   {numbered(131), "behind 65 missing ones"}});
    CHECK(files.looks < 200);
}

TEST_CASE("a file that could only be emptied is as old as what is in it", "[sinks]")
{
    scriptedclock clock;
    limitedfiles files; // in which all files were created in 1970
    const std::string path = "trace.log";
    files.files[path] = "old";
    files.fixed = {path};
    rotatingfilestracestream sink(path.c_str(), 2, sizeEnough, 2);
    clock.setLocalMilliseconds(1000 * day);
    log(sink, L"emptied away");
    REQUIRE(files.files[path].empty());

    log(sink, L"kept");
    clock.setLocalMilliseconds(1002 * day - 1);
    log(sink, L"kept, too");
    CHECK(files.files[path].find("kept\r\n") != std::string::npos);
    CHECK(endsWith(files.files[path], "kept, too\r\n"));

    clock.setLocalMilliseconds(1002 * day);
    log(sink, L"old again");
    CHECK(files.files[path].empty());

    SECTION("another file in its place has an age of its own")
    {
        ++files.replaced[path];
        log(sink, L"too old");
        CHECK(files.files[path].empty());
    }
    SECTION("once it is moved away its successor has an age of its own")
    {
        files.fixed.clear();
        clock.setLocalMilliseconds(1004 * day);
        log(sink, L"moved");
        REQUIRE(endsWith(files.files[path + ".0"], "moved\r\n"));
        log(sink, L"as old as all files here");
        CHECK(files.files[path].empty());
    }
}

TEST_CASE("a current file that cannot be renamed is emptied", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    files.files = {{nowhere, "current"}};
    files.fixed = {nowhere};
    rotatingfilestracestream sink(nowhere, 2, everyLine, noAgeLimit);

    log(sink);

    CHECK(files.files == content_t{{nowhere, "empty"}});
}

TEST_CASE("a file that is too large when the sink comes to it rotates after the first line",
          "[sinks]")
{
    const temporaryfolder folder;
    std::ofstream(folder.file("trace.log")) << std::string(1024, 'x');
    rotatingfilestracestream sink(folder.file("trace.log").c_str(), 2, 1, noAgeLimit);

    log(sink, L"last");

    CHECK(folder.read("trace.log").empty());
    CHECK(endsWith(folder.read("trace.log.0"), "last\r\n"));
}

TEST_CASE("a file that was just made is not old", "[sinks]")
{
    const temporaryfolder folder;
    const std::string path = folder.file("trace.log");
    rotatingfilestracestream sink(path.c_str(), 3, 1, 1000);

    log(sink, std::wstring(2000, L'x').c_str());
    log(sink, L"in the new file");

    CHECK(endsWith(folder.read("trace.log"), "in the new file\r\n"));
    CHECK_FALSE(folder.has("trace.log.1"));
}

TEST_CASE("a clone of a rotating sink has its limits and no levels", "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    rotatingfilestracestream sink(nowhere, 2, everyLine, noAgeLimit);
    sink.setLevel(tl_debug);

    const std::unique_ptr<tracestream> cloned(sink.clone());
    log(*cloned);

    CHECK(cloned->level(function) == tl_always);
    CHECK(dynamic_cast<rotatingfilestracestream*>(cloned.get()));
    CHECK(files.operations == 2);
}

TEST_CASE("a copy of a rotating sink has no levels and knows nothing of the file, unlike that of a "
          "file sink",
          "[sinks]")
{
    memoryfiles files;
    files.nextStatus = {1, 1};
    rotatingfilestracestream sink(nowhere, 2, 1, noAgeLimit);
    sink.setLevel(tl_debug);
    log(sink);
    filetracestream plain(nowhere);
    plain.setLevel(tl_debug);

    rotatingfilestracestream copied(sink);
    log(copied);

    CHECK(copied.level(function) == tl_always);
    CHECK(filetracestream(plain).level(function) == tl_debug);
    CHECK(files.statusReads == 2);
}

TEST_CASE("a rotating sink has the id of a file sink of its name", "[sinks]")
{
    CHECK(rotatingfilestracestream("trace.log", 2, 1, 1).id() == filetracestream("trace.log").id());
}

TEST_CASE("the older files have the question marks of the name, too", "[sinks]")
{
    limitedfiles files;
    rotatingfilestracestream sink(L"trace-\x4e2d.log", 2, everyLine, noAgeLimit);

    log(sink, L"text");

    CHECK(files.files.size() == 2);
    CHECK(files.files["trace-?.log"].empty());
    CHECK(endsWith(files.files["trace-?.log.0"], "text\r\n"));
}
