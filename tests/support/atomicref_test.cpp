#include "support/atomicref.h"

#include <catch2/catch.hpp>

#include <thread>
#include <vector>

TEST_CASE("a plain variable is written and read atomically in place", "[support]")
{
    const int target = 0;
    const int* variable = nullptr;

    tolvane::atomicRef(variable).store(&target);

    CHECK(variable == &target);
    CHECK(tolvane::atomicRef(variable).load() == &target);
}

TEST_CASE("threads that change a plain variable this way lose nothing", "[support]")
{
    unsigned long long counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&counter] {
            for (int n = 0; n < 1000; ++n) {
                ++tolvane::atomicRef(counter);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(counter == 4000);
}
