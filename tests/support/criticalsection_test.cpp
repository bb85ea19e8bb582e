#include "support/criticalsection.h"

#include <catch2/catch.hpp>

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
