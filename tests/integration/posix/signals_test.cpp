#include "tests/helpers/childprocess.h"
#include "tests/helpers/sanitizer.h"

#include <catch2/catch.hpp>

#include <signal.h>

#include <chrono>
#include <string>

namespace {

childresult run(const std::string& scenario, int number)
{
    constexpr std::chrono::seconds limit(20);
    return childprocess::run(childprocess::beside("tolvane_signal_child"),
                             {scenario, std::to_string(number)}, sanitizer::withoutLeaks(), limit);
}

constexpr int endedBySignal = 128;

/// Of a thread's 1001, what a process's exit code has room for.
constexpr int endedByFault = 1001 % 256;

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

TEST_CASE("a process that has lost its main thread to a fault before it traced is ended by signals",
          "[integration]")
{
    for (const int number : {SIGTERM, SIGINT}) {
        INFO(number);
        CHECK(run("faultWithoutWriter", number).exitCode == endedBySignal + number);
    }
}

TEST_CASE("a process is ended by signals when its main thread was lost amid the allocator",
          "[integration][allocator]")
{
    const childresult result = run("faultUnderAllocatorsLock", SIGTERM);

    CHECK(result.exitCode == endedBySignal + SIGTERM);
}

TEST_CASE("a process that has lost its main thread to a fault ends with its last thread",
          "[integration][lastthread]")
{
    const childresult result = run("faultBesideWorker", SIGTERM);

    CHECK(result.exitCode == endedByFault);
    CHECK(result.output == "worked on\n");
    CHECK(run("faultAlone", SIGTERM).exitCode == endedByFault);
}

TEST_CASE("a process whose main thread has left ends in order with its last thread, beside a fault",
          "[integration][lastthread]")
{
    const childresult result = run("leaveBesideFault", SIGTERM);

    CHECK(result.exitCode == 0);
    CHECK(result.output == "exit\n");
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
