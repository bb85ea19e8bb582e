#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

/// What a program whose sink faults did.
struct faultrun
{
    explicit faultrun(const std::string& scenario)
        : result(childprocess::run(childprocess::beside("tolvane_sink_child"),
                                   {scenario, folder.file("trace.log")})),
          file(folder.read("trace.log"))
    {
        INFO(scenario << " wrote: " << result.output
                      << "\nand to standard error: " << result.error);
        CHECK_FALSE(result.timedOut);
        CHECK(result.exitCode == 0);
    }

    bool says(const std::string& text) const
    {
        return result.output.find(text) != std::string::npos;
    }

    bool hasLine(const std::string& text) const
    {
        return file.find(text + "\r\n") != std::string::npos;
    }

    /// The healthy sink has them all.
    void checkLines(const std::string& prefix, int count) const
    {
        for (int line = 0; line < count; ++line) {
            CHECK(hasLine(prefix + ' ' + std::to_string(line)));
        }
    }

    temporaryfolder folder;
    childresult result;
    std::string file;
};

} // namespace

TEST_CASE("a fault in a sink on the writer thread is reported, the other sinks get all lines, and "
          "the next line starts a new writer",
          "[integration]")
{
    const faultrun run("inWriter");

    CHECK(run.result.error.find("Unhandled Exception. Trace follows:") != std::string::npos);
    CHECK(run.says("written by a new writer"));
    CHECK(run.says("logged 2")); // it gets nothing more
    CHECK(run.says("not destroyed"));
    run.checkLines("first", 5);
    run.checkLines("second", 5);
    CHECK(run.hasLine("Unhandled Exception. Trace follows:"));
}

TEST_CASE("a fault in a sink reaches the thread that flushes as an exception", "[integration]")
{
    for (int tries = 0; tries < 10; ++tries) {
        const temporaryfolder folder;
        const childresult result = childprocess::run(childprocess::beside("tolvane_sink_child"),
                                                     {"inFlush", folder.file("trace.log")});
        if (result.output.find("the writer was quicker") != std::string::npos) {
            continue;
        }
        CHECK(result.exitCode == 0);
        CHECK(result.output.find("caught: The thread attempts to read from or write to a virtual "
                                 "address") != std::string::npos);
        CHECK(result.output.find("logged 2") != std::string::npos);
        CHECK(result.output.find("not destroyed") != std::string::npos);
        CHECK(folder.read("trace.log").find("second 4\r\n") != std::string::npos);
        return;
    }
    FAIL("the writer was always quicker than the flush");
}

TEST_CASE("a fault in a sink on a thread that must write is reported and ends that thread",
          "[integration]")
{
    const faultrun run("inProducer");

    CHECK(run.result.error.find("Unhandled Exception. Trace follows:") != std::string::npos);
    CHECK(run.says("joined"));
    CHECK(run.says("all is written"));
    CHECK(run.says("not destroyed"));
    run.checkLines("second", 5);
}

TEST_CASE("a sink that has removed itself is not destroyed when its thread ends within it",
          "[integration]")
{
    const faultrun run("removedAndEnded");

    CHECK(run.says("1 live, 0 lines"));
    run.checkLines("second", 5);
}

TEST_CASE("a sink that has replaced itself gets lines when its thread has ended within the old one",
          "[integration]")
{
    const faultrun run("replacedAndEnded");

    CHECK(run.says("2 live, 5 lines")); // what it replaced is left alone
    run.checkLines("second", 5);
}
