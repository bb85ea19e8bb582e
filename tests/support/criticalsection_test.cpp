#include "support/criticalsection.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <cerrno>
#include <future>
#include <thread>
#include <vector>

using tolvane::CriticalSection;

namespace {

bool otherThreadGets(CriticalSection& section)
{
    return std::async(std::launch::async,
                      [&section] {
                          const bool got = section.tryEnter();
                          if (got) {
                              section.leave();
                          }
                          return got;
                      })
        .get();
}

} // namespace

TEST_CASE("a critical section is one thread's at a time", "[support]")
{
    CriticalSection section;

    CHECK(otherThreadGets(section));
    section.enter();
    CHECK_FALSE(otherThreadGets(section));
    section.leave();
    CHECK(otherThreadGets(section));
}

TEST_CASE("a critical section may be entered again by its thread, and is left as often",
          "[support]")
{
    CriticalSection section;

    section.enter();
    CHECK(section.tryEnter());
    section.enter();
    section.leave();
    section.leave();
    CHECK_FALSE(otherThreadGets(section));
    section.leave();
    CHECK(otherThreadGets(section));
}

TEST_CASE("a critical section keeps threads from each other's data", "[support]")
{
    CriticalSection section;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 1000; ++n) {
                section.enter();
                ++counter;
                section.leave();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(counter == 4000);
}

TEST_CASE("whoever waits for a critical section gets it when it is left, with errno as it was",
          "[support]")
{
    constexpr int rounds = 100;
    constexpr int callersErrno = 4711;
    CriticalSection section;
    std::atomic<int> waiting{0};
    const auto waitAndLeave = [&] {
        bool good = true;
        for (int round = 0; round < rounds; ++round) {
            errno = callersErrno;
            ++waiting;
            section.enter();
            const bool again = section.tryEnter();
            if (again) {
                section.leave();
            }
            section.leave();
            good = good && again && errno == callersErrno;
        }
        return good;
    };

    section.enter();
    auto first = std::async(std::launch::async, waitAndLeave);
    auto second = std::async(std::launch::async, waitAndLeave);
    for (int round = 0; round < rounds; ++round) {
        const int before = waiting;
        for (int pause = 0; pause < 100; ++pause) { // most of them have gone to sleep by then
            std::this_thread::yield();
        }
        section.leave();
        while (waiting == before && waiting < 2 * rounds) {
            std::this_thread::yield();
        }
        section.enter();
    }
    section.leave();

    CHECK(first.get());
    CHECK(second.get());
    CHECK(section.tryEnter());
    section.leave();
}
