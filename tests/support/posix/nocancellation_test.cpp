#include "support/nocancellation.h"

#include <catch2/catch.hpp>

#include <pthread.h>

namespace {

/// Whether the calling thread may be cancelled now.
bool isCancellable()
{
    int state = 0;
    int ignored = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, &ignored);
    return state == PTHREAD_CANCEL_ENABLE;
}

} // namespace

TEST_CASE("a thread is not cancelled within the block, and has its old state behind it",
          "[support]")
{
    REQUIRE(isCancellable());
    {
        const tolvane::NoCancellation outer;
        CHECK_FALSE(isCancellable());
        {
            const tolvane::NoCancellation inner;
            CHECK_FALSE(isCancellable());
        }
        CHECK_FALSE(isCancellable());
    }
    CHECK(isCancellable());
}
