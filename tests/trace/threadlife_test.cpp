#include "tests/helpers/allocations.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

// What happens to the lines of a thread that ends, or is interrupted, and to their memory.

namespace {

using texts_t = std::vector<std::wstring>;

/// Traces when its thread destroys its thread_local objects. Keeps nothing itself: where
/// thread_local is emulated, its memory may be free already by then.
struct lastwords
{
    static inline quietdispatcher* quiet = nullptr;

    ~lastwords() { quiet->queue(tl_info, L"last words"); }

    void prepare() {}
};

thread_local lastwords words;

void endThreads(quietdispatcher& quiet, int count)
{
    for (int thread = 0; thread < count; ++thread) {
        std::thread([&] { quiet.queue(100, tl_info, L"a line of usual length or so"); }).join();
        traceimpltest::emptyQueue(quiet.dispatcher);
    }
}

} // namespace

TEST_CASE("a line from the destructor of a thread's object comes behind the thread's other lines",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    lastwords::quiet = &quiet;

    std::thread([&] {
        words.prepare(); // before the thread is known
        quiet.queue(tl_info, L"first");
    }).join();
    std::thread([&] {
        quiet.queue(tl_info, L"second");
        words.prepare();
    }).join();

    CHECK(quiet.texts() == texts_t{L"first", L"last words", L"second", L"last words"});
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 0);
}

TEST_CASE("threads that have come and gone leave no stage behind", "[trace]")
{
    constexpr int threads = 300;
    constexpr long long bytesOfStage = 6000;
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    endThreads(quiet, 20); // whatever is made once
    const long long before = allocations::bytesInUse();

    endThreads(quiet, threads);

    CHECK(allocations::bytesInUse() - before < threads * bytesOfStage / 10);
}

TEST_CASE("a line that the application's allocator traces while lines are drained is lost alone",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.queue(tl_info, L"a line that needs memory to be recorded");
    int interruptions = 0;
    const std::function<void()> trace = [&] {
        ++interruptions;
        quiet.queue(tl_info, L"inner");
    };
    {
        const allocations::interruption interrupted(0, trace);
        traceimpltest::drain(quiet.dispatcher);
    }

    CHECK(interruptions == 1);
    CHECK(quiet.texts() == texts_t{L"a line that needs memory to be recorded"});
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 1);
}

TEST_CASE("lines that the application's allocator traces within the facade wait for no sink",
          "[trace]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.queue(tl_info, L"before");
    const heldelsewhere busy(traceimpltest::streamMutex(quiet.dispatcher));
    const scriptedclock clock;
    const std::function<void()> trace = [&] { quiet.queue(3000, tl_info, L"inner"); };
    {
        const allocations::interruption interrupted(0, trace);
        quiet.dispatcher.setLevel(tl_debug, L"a::f");
    }
    {
        const allocations::interruption interrupted(0, trace);
        quiet.dispatcher.registerfunction("void g()");
    }

    CHECK(clock.sleeps() == 0);
    CHECK(quiet.texts() == texts_t{L"before"});
    CHECK(quiet.dispatcher.lost(trace::noMemory) == 2 * 3000);
}

TEST_CASE("a line that the application's allocator traces is lost within the library, and only it",
          "[trace]")
{
    constexpr unsigned long long most = 100; // allocations of a line that is long and the first one
    const std::wstring longText(5000, L'x');
    int lost = 0;
    int queued = 0;
    for (unsigned long long after = 0; after < most; ++after) {
        CAPTURE(after);
        quietdispatcher quiet;
        quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
        texts_t found;
        int interruptions = 0;
        const std::function<void()> trace = [&] {
            ++interruptions;
            quiet.queue(tl_info, L"inner");
        };
        std::thread([&] {
            const allocations::interruption interrupted(after, trace);
            quiet.queue(tl_info, longText.c_str());
            traceimpltest::drain(quiet.dispatcher);
        }).join();

        found = quiet.texts();
        const auto inner = std::count(found.begin(), found.end(), L"inner");
        CHECK(std::count(found.begin(), found.end(), longText) == 1);
        CHECK(quiet.dispatcher.lost(trace::noMemory) + static_cast<unsigned long long>(inner) ==
              static_cast<unsigned long long>(interruptions));
        if (interruptions == 0) {
            break;
        }
        lost += interruptions - static_cast<int>(inner);
        queued += static_cast<int>(inner);
    }
    CHECK(lost >= 3);
    CHECK(queued >= 1);
}
