#include "support/writesignals.h"

#include <catch2/catch.hpp>

#include <type_traits>

using tolvane::WriteSignals;

static_assert(!std::is_copy_constructible_v<WriteSignals>);
static_assert(!std::is_copy_assignable_v<WriteSignals>);
static_assert(std::is_nothrow_default_constructible_v<WriteSignals>);
static_assert(std::is_nothrow_destructible_v<WriteSignals>);

TEST_CASE("blocks without the signals of writing may lie within each other", "[support]")
{
    CHECK_NOTHROW([] {
        const WriteSignals outer;
        const WriteSignals inner;
    }());
}
