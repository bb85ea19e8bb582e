#include "support/nocancellation.h"

#include "support/thread.h"

#include <catch2/catch.hpp>

#include <pthread.h>
#include <sched.h>

#include <atomic>

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

namespace {

struct emptythread : tolvane::Thread
{
    unsigned int run() override { return 0; }
};

/// Has its own cancellation pending when it starts a thread.
void* startWhileCancelled(void* argument)
{
    pthread_cancel(pthread_self());
    tolvane::ThreadControl control(new emptythread);
    control.start();
    while (!control.ended()) {
        sched_yield();
    }
    static_cast<std::atomic<bool>*>(argument)->store(true);
    pthread_testcancel();
    return argument;
}

} // namespace

TEST_CASE("a thread that is to be cancelled can start another one first", "[support]")
{
    std::atomic<bool> started{false};
    pthread_t thread;
    REQUIRE(pthread_create(&thread, nullptr, startWhileCancelled, &started) == 0);
    void* result = nullptr;
    REQUIRE(pthread_join(thread, &result) == 0);

    CHECK(started);
    CHECK(result == PTHREAD_CANCELED);
}
