#include "tests/helpers/filechildtest.h"

#include <catch2/catch.hpp>

TEST_CASE("while its folder is gone a file's lines are lost, and the next ones are written again",
          "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("vanishingFolder", folder) == "before: 10\n"
                                                  "lost: 10\n"
                                                  "lost in all: 10\n"
                                                  "behind: 10\n");
}

TEST_CASE("a file that is renamed every millisecond costs no line", "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("renamedFile", folder) == "renamed more than once: 1\n"
                                              "whole: 2000\n"
                                              "lost: 0\n");
}

TEST_CASE("a file that was deleted every millisecond goes on with whole lines",
          "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("deletedFile", folder) == "behind: 10\n");
}
