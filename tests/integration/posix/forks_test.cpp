#include "tests/helpers/childprocess.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <map>
#include <sstream>
#include <string>

namespace {

int occurrences(const std::string& text, const std::string& whole)
{
    int found = 0;
    for (std::size_t at = whole.find(text); at != std::string::npos;
         at = whole.find(text, at + 1)) {
        ++found;
    }
    return found;
}

struct forkrun
{
    explicit forkrun(const std::string& scenario, int number = 0)
        : result(childprocess::run(childprocess::beside("tolvane_fork_child"),
                                   {scenario, folder.file("trace.log"), std::to_string(number)},
                                   sanitizer::withoutLeaks())),
          file(folder.read("trace.log"))
    {
        INFO(scenario << " wrote to standard error: " << result.error);
        CHECK_FALSE(result.timedOut);
    }

    int count(const std::string& text) const { return occurrences(text, file); }

    temporaryfolder folder;
    childresult result;
    std::string file;
};

/// How often each text of a line is in the file.
std::map<std::string, int> texts(const std::string& file)
{
    std::map<std::string, int> found;
    std::istringstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        ++found[line.substr(line.rfind(" : ") + 3)];
    }
    return found;
}

} // namespace

TEST_CASE("a child goes on following settings", "[integration][fork][settings]")
{
    const forkrun run("followingSettings");

    CHECK(run.result.exitCode == 0);
    CHECK(run.count("parent.") == 1);
    CHECK(run.count("child.") == 1);
}

TEST_CASE("parent and child write their own lines, each once", "[integration][fork]")
{
    const forkrun run("once");

    CHECK(run.result.exitCode == 3);
    for (int line = 0; line < 100; ++line) {
        CHECK(run.count(": parent " + std::to_string(line) + ".\r\n") == 1);
    }
    CHECK(run.count(": parent goes on.\r\n") == 1);
    CHECK(run.count(": child is thread ") == 1);
}

TEST_CASE("a child's lines carry the number of its thread", "[integration][fork]")
{
    const forkrun run("once");

    std::istringstream file(run.file);
    for (std::string line; std::getline(file, line);) {
        const std::size_t told = line.find("child is thread ");
        if (told != std::string::npos) {
            std::ostringstream number;
            number << std::hex << std::stoi(line.substr(line.rfind(' ')));
            CHECK(line.find(number.str() + ":[I]: ") < told);
        }
    }
}

TEST_CASE("a forked daemon's lines come out while it lives", "[integration][fork]")
{
    CHECK(forkrun("daemon").result.exitCode == 4);
}

TEST_CASE("a recorder that was attached before a fork records in the child",
          "[integration][fork][recorder]")
{
    const forkrun run("recording");

    CHECK(run.result.exitCode == 0);
    CHECK(texts(run.file) == std::map<std::string, int>{{"child.\r", 1}, {"bad.\r", 1}});
}

TEST_CASE("forks amid tracing threads lose and repeat no line and hang no child",
          "[integration][forkburst]")
{
    const int forks = 40;
    const std::string scenario = GENERATE("inBurst", "inBurstElsewhere");
    const forkrun run(scenario, forks);

    CHECK(run.result.exitCode == 0);
    const std::map<std::string, int> all = texts(run.file);
    int parents = 0;
    for (const auto& text : all) {
        INFO(text.first);
        CHECK(text.second == 1);
        parents += text.first[0] == 'p' ? 1 : 0;
    }
    CHECK(run.result.output ==
          std::to_string(forks) + " ended, " + std::to_string(parents) + " traced, 0 lost\n");
    CHECK(static_cast<int>(all.size()) - parents == forks);
}

TEST_CASE("a fork beside a sink that is stuck is not held up, and the child goes without that sink",
          "[integration][fork]")
{
    const forkrun run("besideStuckSink");

    CHECK(run.result.exitCode == 5);
    CHECK(run.result.output == "quick\n");
    CHECK(run.count(": child.\r\n") == 1);
}

TEST_CASE("a fork leaves a sink alone that has removed itself, and that a thread is inside of",
          "[integration][fork]")
{
    const forkrun run("besideRemovedSink");

    CHECK(run.result.exitCode == 10);
    CHECK(run.count(": child.\r\n") == 1);
}

TEST_CASE("the child has the sink by which another was replaced that a thread is inside of",
          "[integration][fork]")
{
    const forkrun run("besideReplacedSink");

    CHECK(run.result.exitCode == 11);
    CHECK(run.count(": child.\r\n") == 1);
}

TEST_CASE("a fork while another thread is amid the very first line hangs no child",
          "[integration][fork]")
{
    constexpr int allocationsToTry = 6;
    for (int allocation = 0; allocation < allocationsToTry; ++allocation) {
        const forkrun run("duringFirstLine", allocation);
        INFO("amid allocation " << allocation);
        REQUIRE(run.result.exitCode == 0);
        CHECK(run.count(": child.\r\n") == 1);
    }
}

TEST_CASE("a report within which a sink forks is written once", "[integration][fork]")
{
    const forkrun run("dividedReport");

    CHECK(run.result.exitCode == 0);
    for (const std::string& sink : {run.file, run.result.error}) {
        CHECK(occurrences(" : divided. Trace follows:", sink) == 1);
        CHECK(occurrences(": stacktrace::FaultHandler : stacktrace::FaultHandler", sink) == 1);
    }
}

TEST_CASE("a fork frees nothing in the child", "[integration][fork]")
{
    const forkrun run("freeingNothing");

    CHECK(run.result.exitCode == 0);
    CHECK(run.count(": child.\r\n") == 1);
    CHECK(run.count(": parent.\r\n") == 101);
}

TEST_CASE("a sink may start a program", "[integration][fork]")
{
    CHECK(forkrun("inSink").result.exitCode == 0);
}

TEST_CASE(
    "the child of a sink that forks may come out of the sink, and traces lines of its own only",
    "[integration][fork]")
{
    const forkrun run("goingOn");

    CHECK(run.result.exitCode == 0);
    const std::map<std::string, int> all = texts(run.file);
    CHECK(all.size() >= 3);
    for (const auto& text : all) {
        INFO(text.first);
        CHECK(text.second == 1);
    }
}

TEST_CASE("programs that are started without a fork leave tracing alone", "[integration][fork]")
{
    const forkrun run("spawning", 10);

    CHECK(run.result.exitCode == 0);
    CHECK(run.count(": before.\r\n") == 1);
    CHECK(run.count(": between.\r\n") == 10);
}

TEST_CASE("a child's report names its own thread alone", "[integration][fork]")
{
    const forkrun run("reporting");

    CHECK(run.result.exitCode == 1);
    CHECK(run.count("{anonymous}::reporting\r\n") == 1);
}

TEST_CASE("children of children write their lines", "[integration][fork]")
{
    const forkrun run("generations");

    CHECK(run.result.exitCode == 5);
    for (int depth = 0; depth <= 5; ++depth) {
        CHECK(run.count(": depth " + std::to_string(depth) + ".\r\n") == 1);
    }
}
