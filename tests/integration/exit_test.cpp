#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace {

/// Less than what the exit takes when it waits for a writer that never comes, about 0.9 s.
constexpr std::chrono::milliseconds quick{600};

/// What a scenario of the traced application did.
struct scenariorun
{
    explicit scenariorun(const std::string& name)
        : result(childprocess::run(childprocess::beside("tolvane_application"),
                                   {name, folder.file("trace.log")})),
          file(folder.read("trace.log"))
    {
        INFO(name << " wrote to standard error: " << result.error);
        CHECK_FALSE(result.timedOut);
    }

    bool says(const std::string& text) const
    {
        return result.output.find(text) != std::string::npos;
    }

    /// How many lines of the file hold the text.
    int lines(const std::string& text) const
    {
        int count = 0;
        for (std::size_t at = file.find(text); at != std::string::npos;
             at = file.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    /// Whether numbered lines are all there, in order.
    bool hasAll(const std::string& prefix, int count) const
    {
        std::size_t at = 0;
        for (int line = 0; line < count && at != std::string::npos; ++line) {
            at = file.find(prefix + ' ' + std::to_string(line) + "\r\n", at);
        }
        return at != std::string::npos;
    }

    temporaryfolder folder;
    childresult result;
    std::string file;
};

/// The lines that were flushed before the exit are there on every system; those that were queued,
/// where threads live to the end.
void checkLines(const scenariorun& run)
{
    CHECK(run.hasAll("flushed", 100));
    if (childprocess::threadsRunDuringExit()) {
        CHECK(run.hasAll("queued", 500));
        CHECK(run.lines("exiting") == 2);
    }
}

/// The exit of a loaded machine may be slow once; one that waits for a dead thread always is.
bool endsQuickly(const std::string& scenario)
{
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (scenariorun(scenario).result.endTook < quick) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST_CASE("a program that returns from main with lines queued loses none of them", "[integration]")
{
    const scenariorun run("returning");

    CHECK(run.result.exitCode == 0);
    CHECK(run.says("leaving"));
    checkLines(run);
    CHECK((run.result.endTook < quick || endsQuickly("returning")));
}

TEST_CASE("a program with a guard in main loses no line, whatever becomes of the writer",
          "[integration]")
{
    const scenariorun run("guarded");

    CHECK(run.result.exitCode == 0);
    CHECK(run.hasAll("others", 500));
    CHECK(run.hasAll("queued", 500));
}

TEST_CASE("a program that calls exit with lines queued loses none of them, and keeps its code",
          "[integration]")
{
    const scenariorun run("exiting");

    CHECK(run.result.exitCode == 7);
    checkLines(run);
    CHECK((run.result.endTook < quick || endsQuickly("exiting")));
}

TEST_CASE("a program whose other thread calls exit loses none of its lines", "[integration]")
{
    const scenariorun run("exitingFromThread");

    CHECK(run.result.exitCode == 5);
    checkLines(run);
}

TEST_CASE("a program that ends without destructors keeps what was flushed", "[integration]")
{
    const scenariorun run("leavingQuickly");

    CHECK(run.result.exitCode == 3);
    CHECK(run.hasAll("flushed", 100));
}

TEST_CASE("a program that queues no line has no thread of the library's", "[integration]")
{
    const scenariorun run("silent");

    CHECK(run.result.exitCode == 0);
    CHECK(run.says("no thread"));
    CHECK((run.result.endTook < quick || endsQuickly("silent")));
}

TEST_CASE("a program's first line starts one thread, further lines none", "[integration]")
{
    const scenariorun run("firstLine");

    CHECK(run.result.exitCode == 0);
    CHECK(run.says("one thread"));
}

TEST_CASE("a destructor of a static object may trace when the dispatcher is gone", "[integration]")
{
    const scenariorun run("tracingLate");

    CHECK(run.result.exitCode == 0);
    CHECK(run.says("late: fine"));
    CHECK(run.lines("in time") == 1);
    if (childprocess::threadsRunDuringExit()) { // elsewhere the dispatcher outlives the program's
                                                // statics
        CHECK(run.lines("late") == 0);
    }
}

TEST_CASE("a program ends although a sink blocks, and its other sinks get their lines",
          "[integration]")
{
    const scenariorun run("blocked");

    CHECK(run.result.exitCode == 0);
    CHECK(run.says("blocked"));
    if (childprocess::threadsRunDuringExit()) {
        CHECK(run.hasAll("queued", 100));
    }
}

TEST_CASE("a program ends while detached threads trace on", "[integration]")
{
    if (childprocess::threadsRunDuringExit()) {
        const scenariorun run("detached");

        CHECK(run.result.exitCode == 0);
        CHECK(run.lines("detached 0") > 0);
        CHECK(run.result.error.empty());
    }
}

TEST_CASE("a child process that does not end is killed at the end of its time", "[integration]")
{
    const childresult result = childprocess::run(childprocess::beside("tolvane_application"),
                                                 {"hanging"}, {}, std::chrono::milliseconds(500));

    CHECK(result.timedOut);
    CHECK(result.exitCode != 0);
}

TEST_CASE("a child process gets its arguments and environment as they are", "[integration]")
{
    const std::vector<std::string> arguments = {"echo",       "",       "two words",
                                                "\"quoted\"", "back\\", "back\\\\\"slash"};
    const childresult result = childprocess::run(childprocess::beside("tolvane_application"),
                                                 arguments, {{"TOLVANE_TEST", "a = b"}});

    CHECK(result.exitCode == 0);
    CHECK(result.output == "[][two words][\"quoted\"][back\\][back\\\\\"slash]");
    CHECK(result.error == "a = b");
}
