#include "support/callerserror.h"

#include "support/threadends.h"
#include "tests/helpers/errorcodes.h"

#include <catch2/catch.hpp>

#include <type_traits>

using tolvane::CallersError;

static_assert(!std::is_copy_constructible_v<CallersError>);
static_assert(!std::is_copy_assignable_v<CallersError>);
static_assert(std::is_nothrow_default_constructible_v<CallersError>);
static_assert(std::is_nothrow_destructible_v<CallersError>);

TEST_CASE("a thread has its error codes again behind the block", "[support]")
{
    errorcodes::set(7);
    {
        const CallersError callersError;
        errorcodes::set(8);
    }
    const bool areBack = errorcodes::are(7);

    CHECK(areBack);
}

TEST_CASE("a thread has its error codes again when it was told of its end", "[support]")
{
    static bool isTold = false;
    tolvane::threadslot::ThreadEnds ends;
    ends.want(tolvane::threadslot::callStack, [](void*) noexcept {
        errorcodes::set(8);
        isTold = true;
    });
    void* const before = tolvane::threadslot::get(tolvane::threadslot::callStack);
    tolvane::threadslot::setUnnoticed(tolvane::threadslot::callStack, &isTold);
    errorcodes::set(7);
    ends.tell();
    const bool areBack = errorcodes::are(7);
    tolvane::threadslot::setUnnoticed(tolvane::threadslot::callStack, before);

    CHECK(isTold);
    CHECK(areBack);
}
