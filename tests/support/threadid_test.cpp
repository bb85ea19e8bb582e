#include "support/threadid.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

TEST_CASE("a thread keeps its number, which is not 0", "[support]")
{
    CHECK(tolvane::currentThreadId() != 0);
    CHECK(tolvane::currentThreadId() == tolvane::currentThreadId());
}

TEST_CASE("threads that live at the same time have different numbers", "[support]")
{
    constexpr std::size_t count = 8;
    std::vector<unsigned int> ids(count);
    std::atomic<std::size_t> arrived{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&ids, &arrived, i] {
            ids[i] = tolvane::currentThreadId();
            ++arrived;
            while (arrived != count) {
                std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::set<unsigned int> different(ids.begin(), ids.end());
    different.insert(tolvane::currentThreadId());
    CHECK(different.size() == count + 1);
}
