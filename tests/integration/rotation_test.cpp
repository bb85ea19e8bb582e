#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

namespace {

void runTwoLines(const temporaryfolder& folder)
{
    const childresult result = childprocess::run(childprocess::beside("tolvane_application"),
                                                 {"rotatingByAge", folder.file("trace.log")});
    REQUIRE(result.exitCode == 0);
}

} // namespace

// Run by itself, in a time zone that is more than a day ahead of UTC, in which creation is taken.
TEST_CASE("a file that is a day old by the local clock rotates after the line", "[.][anotherzone]")
{
    const temporaryfolder folder;

    runTwoLines(folder);

    CHECK(folder.read("trace.log.0").find("second\r\n") != std::string::npos);
    CHECK(folder.read("trace.log.1").find("first\r\n") != std::string::npos);
    CHECK(folder.read("trace.log").empty());
}

TEST_CASE("a file that was made today does not rotate by age", "[integration]")
{
    const temporaryfolder folder;

    runTwoLines(folder);

    CHECK(folder.read("trace.log").find("second\r\n") != std::string::npos);
    CHECK_FALSE(folder.has("trace.log.0"));
}
