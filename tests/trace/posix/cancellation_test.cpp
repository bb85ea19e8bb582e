#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"

#include <catch2/catch.hpp>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace {

void pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

/// Runs on a thread of its own, which is cancelled meanwhile, while the sinks are busy.
struct cancelledcall
{
    quietdispatcher& quiet;
    const std::function<void()> action;
    std::atomic<bool> hasBegun{false};
    std::atomic<bool> hasReturned{false};

    static void* run(void* self)
    {
        auto& call = *static_cast<cancelledcall*>(self);
        call.hasBegun = true;
        call.action();
        call.hasReturned = true;
        pthread_testcancel();
        return nullptr;
    }

    /// \return whether the call returned, and the thread was cancelled then.
    bool returnsFirst()
    {
        void* result = nullptr;
        pthread_t thread;
        {
            const heldelsewhere busy(traceimpltest::streamMutex(quiet.dispatcher));
            pthread_create(&thread, nullptr, run, this);
            while (!hasBegun) {
                std::this_thread::yield();
            }
            pause();
            pthread_cancel(thread);
            pause();
        }
        pthread_join(thread, &result);
        return hasReturned && result == PTHREAD_CANCELED;
    }
};

} // namespace

TEST_CASE("a thread that waits for the sinks is not cancelled until it has what it wants",
          "[trace]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    quiet.dispatcher.output(sink);

    CHECK(cancelledcall{quiet, [&] { quiet.dispatcher.output(probesink(2)); }}.returnsFirst());
    CHECK(cancelledcall{quiet, [&] { quiet.dispatcher.remove(probesink(2)); }}.returnsFirst());
    quiet.queue(tl_always, L"one");
    CHECK(cancelledcall{quiet, [&] { quiet.dispatcher.sync(10000); }}.returnsFirst());
    quiet.queue(tl_always, L"two");
    CHECK(cancelledcall{quiet, [&] { quiet.dispatcher.flushQueue(0); }}.returnsFirst());

    CHECK(sink.events() == std::vector<std::string>{"clone 1", "1: one", "1: two"});
}
