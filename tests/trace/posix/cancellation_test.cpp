#include "tests/helpers/gate.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"

#include <catch2/catch.hpp>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

void pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

/// Runs on a thread of its own, which is cancelled while it waits.
struct cancelledcall
{
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

    /// \param goOn  ends the waiting.
    /// \return whether the call returned, and the thread was cancelled then.
    bool returnsFirst(const std::function<void()>& goOn)
    {
        void* result = nullptr;
        pthread_t thread;
        pthread_create(&thread, nullptr, run, this);
        while (!hasBegun) {
            std::this_thread::yield();
        }
        pause();
        pthread_cancel(thread);
        pause();
        goOn();
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
    quiet.queue(tl_always, L"line");
    const auto isWaitedFor = [&](const std::function<void()>& action) {
        auto busy = std::make_unique<heldelsewhere>(traceimpltest::streamMutex(quiet.dispatcher));
        return cancelledcall{action}.returnsFirst([&] { busy.reset(); });
    };

    CHECK(isWaitedFor([&] { quiet.dispatcher.output(probesink(2)); }));
    CHECK(isWaitedFor([&] { quiet.dispatcher.flushQueue(0); }));
    CHECK(isWaitedFor([&] { quiet.dispatcher.remove(probesink(2)); }));
    CHECK(sink.events() == std::vector<std::string>{"clone 1", "1: line"});
}

TEST_CASE("a thread is not cancelled while it waits until lines are written", "[trace]")
{
    quietdispatcher quiet;
    gate isInSink;
    gate mayReturn;
    const probesink sink(1);
    sink.told().onLog = [&](const std::wstring&) {
        isInSink.open();
        mayReturn.wait();
    };
    quiet.dispatcher.output(sink);
    quiet.queue(tl_always, L"line");
    std::thread writing([&] { quiet.dispatcher.flushQueue(0); });
    isInSink.wait();
    bool isWritten = false;

    CHECK(cancelledcall{[&] { isWritten = quiet.dispatcher.sync(10000); }}.returnsFirst(
        [&] { mayReturn.open(); }));

    writing.join();
    CHECK(isWritten);
}
