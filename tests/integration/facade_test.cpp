#include <tolvane/tolvane.h>

#include <catch2/catch.hpp>

TEST_CASE("an integer is a level from 0 to 6, and the fallback elsewhere", "[integration]")
{
    CHECK(trace::getLevelFromInt(0, tl_info) == tl_always);
    CHECK(trace::getLevelFromInt(6, tl_info) == tl_trace);
    CHECK(trace::getLevelFromInt(7, tl_info) == tl_info);
    CHECK(trace::getLevelFromInt(-1, tl_info) == tl_info);
}
