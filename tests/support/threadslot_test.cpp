#include "support/threadslot.h"

#include <catch2/catch.hpp>

#include <cerrno>
#include <thread>

namespace threadslot = tolvane::threadslot;

TEST_CASE("a thread's slot is empty at first and keeps what is put there, for itself", "[support]")
{
    int value = 0;
    void* first = &value;
    void* later = nullptr;
    void* elsewhere = &value;

    std::thread([&] {
        first = threadslot::get();
        threadslot::set(&value);
        std::thread([&] { elsewhere = threadslot::get(); }).join();
        later = threadslot::get();
        threadslot::set(nullptr);
    }).join();

    CHECK(first == nullptr);
    CHECK(later == &value);
    CHECK(elsewhere == nullptr);
}

TEST_CASE("a thread's slot leaves the thread's error code alone", "[support]")
{
    errno = EDOM;

    threadslot::set(threadslot::get());

    CHECK(errno == EDOM);
}
