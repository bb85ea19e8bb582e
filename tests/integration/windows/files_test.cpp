#include "tests/helpers/filechildtest.h"

#include <catch2/catch.hpp>

TEST_CASE("while another process has a file for itself its lines are lost", "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("lockedFile", folder) == "held: 1\n"
                                             "lost: 10\n"
                                             "lost in all: 10\n"
                                             "in the file: 10\n");
}

TEST_CASE("a file that another process keeps from being renamed is emptied, and rotates later",
          "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("heldAtRotation", folder) == "held: 1\n"
                                                 "not written: 0\n"
                                                 "in the file: 0\n"
                                                 "older files: 0\n"
                                                 "in the newest old file: 1\n"
                                                 "in the one before: 1\n");
}
