#include "tests/helpers/childprocess.h"

#include <catch2/catch.hpp>

#include <signal.h>

#include <chrono>
#include <string>

namespace {

childresult run(const std::string& name, const std::string& argument = "",
                const std::string& thread = "main")
{
    constexpr std::chrono::seconds limit(20);
    return childprocess::run(childprocess::beside("tolvane_fault_child"), {name, thread, argument},
                             {}, limit);
}

} // namespace

TEST_CASE("each handled signal that a program sends is reported", "[stacktrace]")
{
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP}) {
        const std::string text = std::to_string(number);
        const childresult result = run("send", text);

        CHECK(result.output == "ended " + text + "\n");
        CHECK(result.error.find("Caught signal: #" + text + ". Trace follows:") !=
              std::string::npos);
    }
}

TEST_CASE("a caught fault gives the catcher its registers back", "[stacktrace]")
{
    CHECK(run("registers").output == "ok registers\nreturned\n");
}

TEST_CASE("a caught fault leaves signal mask and float settings as they were", "[stacktrace]")
{
    CHECK(run("thread-state").output == "ok signal mask\nok float settings\nreturned\n");
    CHECK(run("float-stack").output == "ok x87 stack\nreturned\n");
}

TEST_CASE("a fault amid the allocator is caught", "[stacktrace]")
{
    CHECK(run("allocator").output == "ok fault amid the allocator\nreturned\n");
}

TEST_CASE("a fault amid the allocator that nobody catches is reported in plain text",
          "[stacktrace]")
{
    const childresult result = run("in-allocator");

    CHECK(result.output == "ended 1001\n");
    CHECK(result.error.find("\nUnhandled Exception. Trace follows:\n") != std::string::npos);
    CHECK(result.error.find("'StructuredException'\n  what():  The thread attempts to read") !=
          std::string::npos);
}

TEST_CASE("a fault amid the allocator is reported beside a thread that keeps the dispatcher's lock",
          "[stacktrace]")
{
    const childresult result = run("in-allocator-without-lock");

    CHECK(result.output == "ended 1001\n");
    CHECK(result.error.find("\nUnhandled Exception. Trace follows:\n") != std::string::npos);
}

TEST_CASE(
    "a writer that ends amid the allocator waits for no lock, and the next line has a new one",
    "[stacktrace]")
{
    const childresult result = run("writer-in-allocator");

    CHECK(result.output == "writer ended 1001\nok new writer\nreturned\n");
    CHECK(result.error.find("\nUnhandled Exception. Trace follows:\n") != std::string::npos);
}

TEST_CASE(
    "a fault amid the allocator is reported whatever blocks the thread's reserve was taken from",
    "[stacktrace]")
{
    const childresult result = run("beside-odd-blocks");

    CHECK(result.output == "returned\n");
    CHECK(result.error.find("\nUnhandled Exception. Trace follows:\n") != std::string::npos);
}

TEST_CASE("an overflow of the stack amid the allocator is reported", "[stacktrace]")
{
    for (int round = 0; round < 10; ++round) { // where it comes is different each time
        for (const char* const thread : {"main", "other"}) {
            INFO(thread);
            const childresult result = run("overflow-in-allocator", "", thread);

            CHECK(result.output == "ended 1001\n");
            CHECK(result.error.find("Unhandled Exception. Trace follows:") != std::string::npos);
        }
    }
}

TEST_CASE("a fault within the C library is caught in its caller", "[stacktrace]")
{
    CHECK(run("library-functions").output ==
          "ok strlen\nok memcpy\nok callback of qsort\nreturned\n");
}

TEST_CASE("a fault is caught while another one unwinds", "[stacktrace]")
{
    CHECK(run("nested").output == "ok fault while another unwinds\nreturned\n");
}

TEST_CASE("cancelled and exiting threads stay unnoticed", "[stacktrace]")
{
    CHECK(run("other-unwinding").output == "ok cancelled thread\nok thread that exits\nreturned\n");
}

TEST_CASE("faults are caught on threads without alternate stack or with little stack",
          "[stacktrace]")
{
    CHECK(run("unprepared").output == "ok thread without handlers of its own\nreturned\n");
    CHECK(run("small-stack").output.find("STATUS_ACCESS_VIOLATION.\nreturned\n") !=
          std::string::npos);
}

TEST_CASE("faults are caught while other signals arrive", "[stacktrace]")
{
    CHECK(run("other-signals").output == "ok faults among other signals\nreturned\n");
}

TEST_CASE("a fault on a read-only stack is reported", "[stacktrace]")
{
    const childresult result = run("read-only-stack");

    CHECK(result.output == "ended 1001\n");
    CHECK(result.error.find("Unhandled Exception. Trace follows:") != std::string::npos);
}
