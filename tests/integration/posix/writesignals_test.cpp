#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

void checkLivesOn(const std::string& destination, const std::string& ending)
{
    CAPTURE(destination, ending);
    const temporaryfolder folder;
    const childresult result = childprocess::run(childprocess::beside("tolvane_process_child"),
                                                 {destination, ending, folder.file("trace.log")});

    CHECK_FALSE(result.timedOut);
    CHECK(result.exitCode == 0);
    CHECK(result.error.find("signals as before") != std::string::npos);
}

} // namespace

TEST_CASE("a program lives on when a trace file is at its size limit, whoever writes",
          "[integration]")
{
    for (const char* const ending : {"producer", "flush", "remove", "exit"}) {
        checkLivesOn("file", ending);
    }
}

TEST_CASE("a program lives on when nobody reads the pipe of a stream, whoever writes",
          "[integration]")
{
    for (const char* const ending : {"producer", "flush", "remove", "exit", "destruction"}) {
        checkLivesOn("pipe", ending);
    }
}
