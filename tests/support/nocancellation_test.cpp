#include "support/nocancellation.h"

#include <catch2/catch.hpp>

#include <type_traits>

using tolvane::NoCancellation;

static_assert(!std::is_copy_constructible_v<NoCancellation>);
static_assert(!std::is_copy_assignable_v<NoCancellation>);
static_assert(std::is_nothrow_default_constructible_v<NoCancellation>);
static_assert(std::is_nothrow_destructible_v<NoCancellation>);

TEST_CASE("blocks without cancellation may lie within each other", "[support]")
{
    CHECK_NOTHROW([] {
        const NoCancellation outer;
        const NoCancellation inner;
    }());
}
