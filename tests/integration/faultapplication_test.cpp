#include "tests/helpers/childprocess.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>

namespace {

struct faultrun
{
    explicit faultrun(const std::string& scenario, const std::string& argument = "")
        : result(childprocess::run(childprocess::beside("tolvane_fault_application"),
                                   {scenario, folder.file("trace.log"), argument},
                                   sanitizer::withoutLeaks())),
          file(plain(folder.read("trace.log"))),
          output(plain(result.output)),
          error(plain(result.error))
    {}

    static std::string plain(std::string text)
    {
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
        return text;
    }

    temporaryfolder folder;
    childresult result;
    std::string file;
    std::string output;
    std::string error;
};

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

int countOf(const std::string& part, const std::string& text)
{
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

const char* const errorText =
    "terminate called after throwing an instance of 'std::runtime_error'\n"
    "  what():  nobody catches this\n";

} // namespace

TEST_CASE("an exception that nobody catches is told by type and text, sink or not", "[integration]")
{
    const faultrun error("unheard", "error");
    CHECK(error.error == errorText);
    CHECK(error.output == "joined\n");

    CHECK(faultrun("unheard", "number").error ==
          "terminate called after throwing an instance of 'int'\n");
    CHECK(faultrun("unheard", "terminate").error ==
          "terminate called without an active exception\n");
}

TEST_CASE("a fault that nobody catches is told by its text, sink or not", "[integration]")
{
    CHECK(faultrun("unheard", "fault").error ==
          "terminate called after throwing an instance of 'StructuredException'\n"
          "  what():  The thread attempts to read from or write to a virtual address for which it "
          "does not have access. This value is defined as STATUS_ACCESS_VIOLATION.\n");
}

TEST_CASE("what nobody catches is told before the report and is no part of it", "[integration]")
{
    const faultrun run("heard", "error");

    CHECK(run.error.find(errorText) == 0);
    CHECK(
        contains(run.error, "]: stacktrace::FaultHandler : Unhandled Exception. Trace follows:\n"));
    CHECK_FALSE(contains(run.file, "what()"));
    CHECK(contains(run.file, "Unhandled Exception. Trace follows:\n"));
}

TEST_CASE(
    "a terminate handler of the application's gets exceptions and faults, and nothing is reported",
    "[integration]")
{
    const faultrun error("ownTerminate", "error");
    CHECK(error.result.exitCode == 7);
    CHECK(error.output == "own handler: nobody catches this\n");
    CHECK(error.error.empty());

    const faultrun fault("ownTerminate", "fault");
    CHECK(fault.result.exitCode == 7);
    CHECK(contains(fault.output, "own handler: The thread attempts to read from or write to"));
}

TEST_CASE("a report that ends the process is written, behind all that waits, and gives the status",
          "[integration]")
{
    const faultrun run("reportingAndEnding");

    CHECK(run.result.exitCode == 42);
    CHECK(contains(run.file, ": before\n"));
    CHECK(run.file.find(": before\n") < run.file.find(": all is lost. Trace follows:\n"));
    CHECK(contains(run.file, "-->stacktrace::FaultHandler\n"));
    CHECK(contains(run.error, ": all is lost. Trace follows:\n"));
}

TEST_CASE("without the library's handlers a fault is the system's", "[integration]")
{
    const faultrun run("uninstalled");

    CHECK(run.output == "uninstalled\n");
    CHECK(run.result.exitCode != 0);
    CHECK_FALSE(contains(run.error, "Trace follows"));
}

TEST_CASE("without the library's handlers a pure virtual call is the runtime's", "[integration]")
{
    const faultrun run("uninstalledPureCall");

    CHECK(run.output == "uninstalled\n");
    CHECK(run.result.exitCode != 0);
    CHECK(contains(run.error, "pure virtual method called\n"));
    CHECK_FALSE(contains(run.error, "Trace follows"));
}

TEST_CASE("handlers that were taken away can be installed again", "[integration]")
{
    CHECK(faultrun("installedAgain").output == "caught\n");
}

TEST_CASE("taking the library's handlers away leaves those that came later", "[integration]")
{
    const faultrun signal("ownHandlerStays", "signal");
    CHECK(signal.output == "own signal handler\n");
    CHECK(signal.result.exitCode == 8);
    CHECK(faultrun("ownHandlerStays", "terminate").result.exitCode == 9);
}

TEST_CASE("a report beside a sink that is stuck is written to standard error alone",
          "[integration]")
{
    const faultrun run("besideStuckSink");

    CHECK(run.output == "reported\n");
    CHECK(contains(run.error, "[E]: stacktrace::FaultHandler : stuck. Trace follows:\n"));
    CHECK(contains(run.error, "[E]: stacktrace::FaultHandler : stacktrace::FaultHandler\n"));
    CHECK_FALSE(contains(run.file, "stuck. Trace follows:"));
}

TEST_CASE("a report while standard error is stuck is written nowhere", "[integration]")
{
    const faultrun run("besideStuckStandardError");

    CHECK(run.output == "reported\n");
    CHECK(run.error.empty());
}

TEST_CASE("a sink that does not come back from a report's line holds up neither it nor the end",
          "[integration]")
{
    const faultrun report("stuckByReport");
    const faultrun end("endBesideStuck");

    CHECK(report.output == "reported\n");
    CHECK(end.result.exitCode == 42);
    for (const faultrun* const run : {&report, &end}) {
        CHECK(contains(run->error, "[E]: stacktrace::FaultHandler : stuck. Trace follows:\n"));
        CHECK(contains(run->error, "[E]: stacktrace::FaultHandler : stacktrace::FaultHandler\n"));
    }
}

TEST_CASE("when standard error does not come back from a report, the other sinks have it",
          "[integration]")
{
    const faultrun run("standardErrorStuckByReport");

    CHECK(run.output == "reported\n");
    CHECK(contains(run.file, ": stuck. Trace follows:\n"));
    CHECK(contains(run.file, ": stacktrace::FaultHandler\n"));
}

TEST_CASE("a report while a sink is attached for ever is plain text on standard error",
          "[integration]")
{
    const faultrun run("besideStuckClone");

    CHECK(run.output == "reported\n");
    CHECK(contains(run.error, "stuck. Trace follows:\n"));
}

TEST_CASE("a sink that comes back late from a report gets it, and standard error has it once",
          "[integration]")
{
    const faultrun run("lateSink");

    CHECK(run.output == "reported\nwritten\n");
    CHECK(countOf(": stuck. Trace follows:\n", run.error) == 1);
    CHECK(countOf(": stacktrace::FaultHandler\n", run.error) == 1);
    CHECK(countOf(": stuck. Trace follows:\n", run.file) == 1);
}

TEST_CASE("a report from within a sink is written to standard error alone", "[integration]")
{
    const faultrun run("withinSink");

    CHECK(contains(run.error, ": within. Trace follows:\n"));
    CHECK_FALSE(contains(run.file, "within"));
    CHECK(contains(run.file, ": seen by both\n"));
}

TEST_CASE("a thread that is ended within a sink holds up nobody, and the sink is not called again",
          "[integration]")
{
    const faultrun run("endInSink");

    CHECK(run.result.exitCode == 0);
    CHECK(run.output == "written\n");
    CHECK(contains(run.file, ": afterwards\n"));
}

TEST_CASE("a sink that uses up the stack of the writer thread is a sink that faults",
          "[integration][overflow]")
{
    const faultrun run("overflowInSink");

    CHECK(run.result.exitCode == 0);
    CHECK(run.output == "written\n");
    CHECK(contains(run.file, ": first\n"));
    CHECK(contains(run.file, ": second\n"));
}

TEST_CASE("reports are complete while many threads trace at full speed", "[integration]")
{
    const faultrun run("flooded", sanitizer::present ? "20" : "100");

    CHECK(run.output == "complete\n");
}
