#include "tests/helpers/childprocess.h"
#include "tests/stacktrace/faultraisers.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

namespace {

childresult run(const std::string& name, const std::string& thread,
                const std::string& argument = "")
{
    return childprocess::run(childprocess::beside("tolvane_fault_child"), {name, thread, argument});
}

int count(const std::string& text, const std::string& part)
{
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

int reports(const childresult& result)
{
    return count(result.error, "Trace follows:");
}

const char* const threads[] = {"main", "other"};

} // namespace

TEST_CASE("a fault is caught as std::exception where a catch stands", "[stacktrace]")
{
    for (const char* thread : threads) {
        const childresult result = run("caught", thread);

        CHECK(reports(result) == 0);
        CHECK(count(result.output, "failed ") == 0);
        CHECK(count(result.output, "not thrown") == 0);
        CHECK(count(result.output, "returned\n") == 1);
        for (const faultraiser& raiser : faultRaisers()) {
            INFO(raiser.name << " on " << thread);
            CHECK(count(result.output, "ok " + raiser.name + "\n") ==
                  (raiser.usesUpStack ? 2 : 10));
        }
    }
}

TEST_CASE("a fault in a sink is kept for the caller of the pass, and the sink is not called again",
          "[stacktrace]")
{
    for (const char* fault : {"read", "execute-null", "divide-integer"}) {
        INFO(fault);
        const childresult result = run("sink", "other", fault);

        CHECK(reports(result) == 0);
        CHECK(result.output.find("logged 1\nlogged 2\ndestroyed\nok counted\ncaught The thread ") ==
              0);
        CHECK(count(result.output, "returned\n") == 1);
    }
}

TEST_CASE("an uncaught fault is reported once and ends its thread with 1001", "[stacktrace]")
{
    for (const char* fault :
         {"read", "execute-null", "divide-integer", "illegal", "overflow-page"}) {
        for (const char* thread : threads) {
            INFO(fault << " on " << thread);
            const childresult result = run("uncaught", thread, fault);

            CHECK(result.output == "ended 1001\n");
            CHECK(count(result.error, "Unhandled Exception. Trace follows:") == 1);
            CHECK(reports(result) == 1);
        }
    }
}

TEST_CASE("a fault that no unwinding can leave is reported all the same", "[stacktrace]")
{
    for (const faultraiser& raiser : uncatchableFaults()) {
        DYNAMIC_SECTION(raiser.name)
        {
            for (const char* thread : threads) {
                INFO("on " << thread);
                const childresult result = run("missed", thread, raiser.name);

                CHECK(result.output == "ended 1001\n");
                CHECK(reports(result) == 1);
            }
        }
    }
}

TEST_CASE("a fault that no unwinding can leave comes to the application's terminate handler",
          "[stacktrace]")
{
    for (const faultraiser& raiser : uncatchableFaults()) {
        for (const char* thread : threads) {
            INFO(raiser.name << " on " << thread);
            const childresult result = run("own-handler", thread, raiser.name);

            CHECK(result.output == "own handler\n");
            CHECK(reports(result) == 0);
        }
    }
}

TEST_CASE("a fault under noexcept is reported, and no outer catch gets it", "[stacktrace]")
{
    for (const char* thread : threads) {
        const childresult result = run("noexcept", thread, "read");

        CHECK(count(result.output, "outside") == 0);
        CHECK(count(result.output, "ended 1001\n") == 1);
        CHECK(reports(result) == 1);
    }
}

TEST_CASE("faults of many threads at once are all caught", "[stacktrace]")
{
    CHECK(count(run("many", "main").output, "caught 4000\n") == 1);
}

TEST_CASE("a fault directly inside a try block is caught", "[stacktrace]")
{
    CHECK(count(run("direct-read", "main").output, "ok read\n") == 1);
    CHECK(count(run("direct-divide", "other").output, "ok divide\n") == 1);
}

TEST_CASE("a raised SIGSEGV is reported and ends its thread with 11", "[stacktrace]")
{
    for (const char* thread : threads) {
        const childresult result = run("signal", thread);

        CHECK(result.output == "ended 11\n");
        CHECK(count(result.error, "Caught signal: #11. Trace follows:") == 1);
    }
}

TEST_CASE("a SIGSEGV raised a second time is reported too", "[stacktrace]")
{
    const childresult result = run("signal-twice", "main");

    CHECK(count(result.output, "first ended 11\n") == 1);
    CHECK(count(result.output, "\nended 11\n") == 1);
    CHECK(count(result.error, "Caught signal: #11. Trace follows:") == 2);
}

TEST_CASE("a pure virtual call is reported and ends its thread with 1000", "[stacktrace]")
{
    for (const char* thread : threads) {
        const childresult result = run("pure", thread);

        CHECK(result.output == "ended 1000\n");
        CHECK(count(result.error, "Pure virtual function called. Trace follows:") == 1);
    }
}

TEST_CASE("an uncaught C++ exception is reported and ends its thread with 1001", "[stacktrace]")
{
    for (const char* thread : threads) {
        const childresult result = run("throw", thread);

        CHECK(result.output == "ended 1001\n");
        CHECK(count(result.error, "Unhandled Exception. Trace follows:") == 1);
    }
}

TEST_CASE("a thread ended by a fault keeps its stack but destroys its thread_local objects",
          "[stacktrace]")
{
    CHECK(run("thread-local", "other", "read").output == "thread_local destroyed\nended 1001\n");
}
