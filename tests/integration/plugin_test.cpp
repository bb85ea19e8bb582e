#include "tests/helpers/childprocess.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>

namespace {

/// What a scenario of the program with plugins did.
struct hostrun
{
    explicit hostrun(const std::string& name, int rounds = 0)
        : result(childprocess::run(childprocess::beside("tolvane_plugin_host"),
                                   {name, folder.file("trace.log"), std::to_string(rounds)},
                                   sanitizer::withoutLeaks())),
          file(folder.read("trace.log"))
    {
        INFO(name << " wrote to standard error: " << result.error);
        CHECK_FALSE(result.timedOut);
        CHECK(result.exitCode == 0);
    }

    bool says(const std::string& text) const
    {
        return result.output.find(text) != std::string::npos;
    }

    auto lines() const { return std::count(file.begin(), file.end(), '\n'); }

    temporaryfolder folder;
    childresult result;
    std::string file;
};

} // namespace

TEST_CASE("a sink whose code was unloaded gets no line, and costs the other sinks none",
          "[integration][plugin]")
{
    const hostrun run("traceAfterwards");

    CHECK(run.says("unloaded"));
    CHECK_FALSE(run.says("not unloaded"));
    CHECK(run.says("all is written"));
    CHECK(run.says("and again"));
    CHECK(run.file.find("Trace follows:") != std::string::npos);
    CHECK(run.result.error.find("Trace follows:") != std::string::npos);
    CHECK(run.lines() >= 3 + 5 + 5);
}

TEST_CASE("a program ends in order with a sink whose code was unloaded", "[integration][plugin]")
{
    const hostrun run("exitAtOnce");

    CHECK(run.says("unloaded"));
    CHECK_FALSE(run.says("not unloaded"));
    CHECK(run.lines() == 3);
}

TEST_CASE("a program ends in order with lines for a sink whose code was unloaded",
          "[integration][plugin]")
{
    const hostrun run("exitWithLines");

    CHECK(run.says("unloaded"));
    if (childprocess::threadsRunDuringExit()) {
        CHECK(run.lines() >= 3 + 5);
    }
}

TEST_CASE("a library that links this one can be loaded and unloaded again and again",
          "[integration][plugin]")
{
    const int rounds = childprocess::threadsRunDuringExit() ? 1000 : 100;
    const hostrun run("loadManyTimes", rounds);

    CHECK(run.says("the library stays"));
    CHECK(run.says("unloaded"));
    CHECK_FALSE(run.says("not unloaded"));
    CHECK(run.lines() == rounds + 3 * (rounds / 2));
}

TEST_CASE("this library stays where it is when somebody unloads it", "[integration][plugin]")
{
    const hostrun run("unloadLibrary");

    CHECK(run.says("all is written"));
    CHECK(run.lines() == 2);
}

TEST_CASE("a library's static destructor traces at the end of the process", "[integration][plugin]")
{
    const hostrun run("speakBeforeDispatcherEnds");

    CHECK(run.lines() == 3);
    CHECK(run.file.find("in a scope from before\r\n") != std::string::npos);
    CHECK(run.file.find("in a new scope\r\n") != std::string::npos);
    CHECK(run.says("lost 0"));
}

TEST_CASE("a line of a library's static destructor behind the dispatcher's end is dropped and "
          "counted, unless its scope begins only then",
          "[integration][plugin]")
{
    const hostrun run("speakAtEnd");

    if (childprocess::threadsRunDuringExit()) {
        CHECK(run.lines() == 0);
        CHECK(run.says("lost 1"));
    } else { // there the libraries end one after the other
        CHECK(run.lines() == 2);
        CHECK(run.says("lost 0"));
    }
}
