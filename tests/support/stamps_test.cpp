#include "support/stamps.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

namespace stamps = tolvane::stamps;

/// The platform's stamps, or those of the shared counter, for as long as it lives.
struct stampsource
{
    explicit stampsource(bool shared) { stamps::useSharedCounter(shared); }
    ~stampsource() { stamps::useSharedCounter(false); }

    stampsource(const stampsource&) = delete;
    stampsource& operator=(const stampsource&) = delete;
};

} // namespace

TEST_CASE("a thread's stamps never become smaller", "[support]")
{
    const stampsource source(GENERATE(false, true));
    unsigned long long last = 0;
    int backwards = 0;

    for (int round = 0; round < 100000; ++round) {
        const unsigned long long stamp = round % 2 ? stamps::now() : stamps::nowBeforeReading();
        backwards += stamp < last ? 1 : 0;
        last = stamp;
    }

    CHECK(backwards == 0);
}

TEST_CASE("a stamp that was taken after another thread's is greater", "[support]")
{
    const stampsource source(GENERATE(false, true));
    constexpr int rounds = 500; // each needs two turns of the scheduler on a machine that is busy
    std::atomic<unsigned long long> ball{0}; // the last stamp; the threads take turns by its parity
    std::atomic<int> wrong{0};
    const auto play = [&](unsigned long long parity) {
        for (int round = 0; round < rounds; ++round) {
            unsigned long long seen = ball.load(std::memory_order_acquire);
            while ((seen & 1) != parity) {
                std::this_thread::yield();
                seen = ball.load(std::memory_order_acquire);
            }
            const unsigned long long stamp = stamps::now();
            wrong += stamp << 1 >> 1 <= seen >> 1 ? 1 : 0;
            ball.store(stamp << 1 | (parity ^ 1), std::memory_order_release);
        }
    };

    std::thread other([&] { play(1); });
    play(0);
    other.join();

    CHECK(wrong == 0);
}

TEST_CASE("stamps go on where they were when their source changes", "[support]")
{
    const unsigned long long first = stamps::now();
    unsigned long long second = 0;
    unsigned long long third = 0;
    {
        const stampsource source(true);
        CHECK_FALSE(stamps::areCycles());
        second = stamps::now();
        third = stamps::now();
    }
    CHECK(second > first);
    CHECK(third == second + 1);
    if (stamps::systemTrustsCycles()) {
        CHECK(stamps::areCycles());
        CHECK(stamps::now() > third);
    }
}
