#include "support/file.h"

#include <catch2/catch.hpp>

#include <filesystem>

TEST_CASE("a file that takes no bytes tells so", "[support]")
{
    const char* const alwaysFull = "/dev/full";
    REQUIRE(std::filesystem::exists(alwaysFull));

    const tolvane::Appended appended = tolvane::appendToFile(alwaysFull, "lost", 4);

    CHECK(appended.isOpened);
    CHECK(appended.count == 0);
}
