#include "tests/helpers/childprocess.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

const char* const threadKinds[] = {"main", "std::thread", "CreateThread", "_beginthreadex"};

childresult runChild(const std::vector<std::string>& arguments)
{
    childresult result = childprocess::run(childprocess::beside("tolvane_faultchild"), arguments);
    INFO(result.output << result.error);
    CHECK_FALSE(result.timedOut);
    CHECK(result.exitCode == 0);
    result.output.erase(std::remove(result.output.begin(), result.output.end(), '\r'),
                        result.output.end());
    return result;
}

std::size_t countOf(const std::string& part, const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// One report, with this message, and one thread's end.
void checkReport(const childresult& result, const std::string& message, int exitCode)
{
    INFO(result.output << result.error);
    CHECK(countOf(" Trace follows:", result.error) == 1);
    CHECK(countOf(": " + message + ". Trace follows:", result.error) == 1);
    CHECK(result.output == "ended " + std::to_string(exitCode) + "\n");
}

const char* const uncaughtMessage = "Unhandled Exception";
const int uncaughtExitCode = 1001;

struct Row
{
    const char* fault;
    const char* status; ///< the name in its explanation; null: the text for all others
};

const Row rows[] = {
    {"read", "STATUS_ACCESS_VIOLATION"},
    {"write", "STATUS_ACCESS_VIOLATION"},
    {"call", "STATUS_ACCESS_VIOLATION"},
    {"jump", "STATUS_ACCESS_VIOLATION"},
    {"call data", "STATUS_ACCESS_VIOLATION"},
    {"read in a leaf", "STATUS_ACCESS_VIOLATION"},
    {"read before an epilogue", "STATUS_ACCESS_VIOLATION"},
    {"read with the direction flag", "STATUS_ACCESS_VIOLATION"},
    {"read with an odd stack", "STATUS_ACCESS_VIOLATION"},
    {"integer division", "STATUS_INTEGER_DIVIDE_BY_ZERO"},
    {"float division", "STATUS_FLOAT_DIVIDE_BY_ZERO"},
    {"x87 division", "STATUS_FLOAT_DIVIDE_BY_ZERO"},
    {"illegal instruction", "STATUS_ILLEGAL_INSTRUCTION"},
    {"privileged instruction", "STATUS_PRIVILEGED_INSTRUCTION"},
    {"breakpoint", "STATUS_BREAKPOINT"},
    {"single step", "STATUS_SINGLE_STEP"},
    {"guard page", "STATUS_GUARD_PAGE_VIOLATION"},
    {"raised bounds", "STATUS_ARRAY_BOUNDS_EXCEEDED"},
    {"raised 1", nullptr},
    {"raised 40001234", nullptr},
    {"raised E0001234", nullptr},
};

bool explains(const std::string& line, const Row& row)
{
    const std::string start = std::string(row.fault) + ": ";
    if (row.status == nullptr) {
        return line == start + "Structured exception translated to C++ exception.";
    }
    const std::string end = std::string(" This value is defined as ") + row.status + ".";
    return line.compare(0, start.size(), start) == 0 && line.size() > end.size() &&
           line.compare(line.size() - end.size(), end.size(), end) == 0;
}

} // namespace

TEST_CASE("structured exceptions are caught as std::exception on every kind of thread",
          "[integration]")
{
    for (const char* kind : threadKinds) {
        INFO(kind);
        const childresult result = runChild({"caught", kind});
        const std::vector<std::string> lines = linesOf(result.output);

        REQUIRE(lines.size() == 2 * std::size(rows) + 2);
        for (std::size_t i = 0; i < 2 * std::size(rows); ++i) {
            INFO(lines[i]);
            CHECK(explains(lines[i], rows[i / 2]));
        }
        CHECK(lines[2 * std::size(rows)] == "destroyed " + std::to_string(2 * std::size(rows)));
        CHECK(lines.back() == "ended 0");
        CHECK(result.error.empty());
    }
}

TEST_CASE("4000 faults on 8 threads are all caught", "[integration]")
{
    CHECK(runChild({"storm"}).output == "caught 4000\n");
}

TEST_CASE("a fault that nobody catches is reported once and ends its thread with 1001",
          "[integration]")
{
    for (const char* kind : threadKinds) {
        for (const char* install : {"", "install"}) {
            INFO(kind << ' ' << install);
            checkReport(runChild({"uncaught", "read", kind, install}), uncaughtMessage,
                        uncaughtExitCode);
        }
    }
}

TEST_CASE("every kind of fault that nobody catches is reported", "[integration]")
{
    for (const char* fault : {"call", "breakpoint", "float division", "raised 1"}) {
        INFO(fault);
        checkReport(runChild({"uncaught", fault, "main"}), uncaughtMessage, uncaughtExitCode);
        checkReport(runChild({"uncaught", fault, "CreateThread"}), uncaughtMessage,
                    uncaughtExitCode);
    }
}

TEST_CASE("an exception that nobody catches is reported like a fault", "[integration]")
{
    for (const char* kind : threadKinds) {
        INFO(kind);
        checkReport(runChild({"throw", kind}), uncaughtMessage, uncaughtExitCode);
    }
}

TEST_CASE("a fault in a function that lets nothing out is reported", "[integration]")
{
    checkReport(runChild({"noexcept", "main"}), uncaughtMessage, uncaughtExitCode);
}

TEST_CASE("a fault that a structured handler looked at and declined is reported", "[integration]")
{
    for (const char* kind : threadKinds) {
        INFO(kind);
        for (const char* fault : {"read", "integer division", "illegal instruction", "raised 1"}) {
            INFO(fault);
            checkReport(runChild({"declined", kind, fault}), uncaughtMessage, uncaughtExitCode);
        }
    }
}

TEST_CASE("a raised SIGSEGV is reported as a signal each time", "[integration]")
{
    const childresult result = runChild({"signal", "main"});

    CHECK(countOf(": Caught signal: #11. Trace follows:", result.error) == 2);
    CHECK(countOf(" Trace follows:", result.error) == 2);
    CHECK(result.output == "ended 11\n");
}

TEST_CASE("a pure virtual call is reported and ends its thread with 1000", "[integration]")
{
    for (const char* kind : threadKinds) {
        INFO(kind);
        checkReport(runChild({"pure", kind}), "Pure virtual function called", 1000);
    }
}

TEST_CASE("invalid parameters are reported by every runtime of the process", "[integration]")
{
    const childresult result = runChild({"parameters"});

    CHECK(result.output == "strcpy_s 34\n_close -1\nreturned\n");
    CHECK(countOf(": Invalid CRT Parameter. Trace follows:", result.error) == 2);
    CHECK(countOf(" : : x in f in file: a.c at 5. Trace follows:", result.error) == 1);
}

TEST_CASE("what belongs to others stays theirs", "[integration]")
{
    for (const char* kind : {"main", "std::thread"}) {
        INFO(kind);
        const childresult result = runChild({"others", kind});

        CHECK(result.error.empty());
        CHECK(result.output == "guarded 1\n"
                               "last error 4321\n"
                               "guarded, other catch 1\n"
                               "caught inside\n"
                               "guarded, catch inside 0\n"
                               "filtered 1\n"
                               "foreign 1\n"
                               "bad pointer 2\n"
                               "debug text written\n"
                               "thread named\n"
                               "guarded breakpoint 1\n"
                               "guarded guard page 1\n"
                               "caught through __finally\n"
                               "ended 0\n");
    }
}

TEST_CASE("a debugger gets a breakpoint back that nobody caught", "[integration]")
{
    for (const char* kind : {"main", "CreateThread"}) {
        INFO(kind);
        const childresult result = runChild({"debug", kind});

        CHECK(result.output == "breakpoint\nbreakpoint again\n");
        CHECK(result.error.empty());
    }
}

TEST_CASE("a filter that the application sets later stays", "[integration]")
{
    const childresult result = runChild({"filter"});

    CHECK(result.output == "the application's filter\nended 55\n");
    CHECK(result.error.empty());
}

TEST_CASE("a report that writes nothing starts no thread", "[integration]")
{
    const childresult result = runChild({"nothing"});

    CHECK(result.output == "more threads: 0\n");
    CHECK(result.error.find("Trace follows") == std::string::npos);
}

TEST_CASE("a report under the loader's lock is written by the thread that has it", "[integration]")
{
    const childresult result = runChild({"loaderlock"});

    CHECK(result.output == "came back\n");
    CHECK(result.error.find("under the loader's lock. Trace follows:") != std::string::npos);
}

TEST_CASE("the library cannot be unloaded, so that its hooks stay", "[integration]")
{
    const childresult result = runChild({"unload"});

    CHECK(linesOf(result.output).front() == "still loaded");
    CHECK(linesOf(result.output).back() == "ended 0");
}
