#include "tests/helpers/childprocess.h"

#include <catch2/catch.hpp>

#include <signal.h>

#include <string>

namespace {

childresult run(const std::string& scenario, int number)
{
    return childprocess::run(childprocess::beside("tolvane_signal_child"),
                             {scenario, std::to_string(number)});
}

constexpr int endedBySignal = 128;

} // namespace

TEST_CASE("a process that has lost its main thread is still ended by signals", "[integration]")
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1}) {
        INFO(number);
        CHECK(run("faultInMain", number).exitCode == endedBySignal + number);
    }
    CHECK(run("leaveMain", SIGTERM).exitCode == endedBySignal + SIGTERM);
    CHECK(run("leaveBeforeWriter", SIGTERM).exitCode == endedBySignal + SIGTERM);
}

TEST_CASE("a signal that the application blocks and fetches is still its own when main has ended",
          "[integration]")
{
    const childresult result = run("fetch", SIGTERM);

    CHECK(result.exitCode == 0);
    CHECK(result.output == "fetched 15\n");
}

TEST_CASE("handlers of the application's are still called when main has ended", "[integration]")
{
    CHECK(run("handle", SIGTERM).output == "handled\n");
}
