#include "support/threadslot.h"

#include "support/threadid.h"
#include "tests/helpers/childprocess.h"
#include "tests/helpers/foreignthread.h"
#include "tests/helpers/toldends.h"
#include "tests/helpers/wholethread.h"

#include <catch2/catch.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <vector>

// These are a program of their own: in others the library's threads fill the slots.

namespace threadslot = tolvane::threadslot;

using threadslot::callStack;
using threadslot::lineStage;

namespace {

int value = 0;
int another = 0;

/// Puts a value in when its thread destroys its thread_local objects, and tells what it has found.
/// Keeps nothing itself: where thread_local is emulated, its memory may be free already when the
/// destructor is called.
struct latecomer
{
    static inline void** found = nullptr;

    ~latecomer()
    {
        *found = threadslot::get(lineStage);
        threadslot::set(lineStage, &another);
    }

    void come() {}
};

thread_local latecomer late;

} // namespace

TEST_CASE("a thread's slots are empty at first and keep what is put there, for itself", "[support]")
{
    for (int index = 0; index < threadslot::slots; ++index) {
        const auto slot = static_cast<threadslot::slot_t>(index);
        void* first = &value;
        void* later = nullptr;
        void* elsewhere = &value;

        wholethread([&] {
            first = threadslot::get(slot);
            threadslot::set(slot, &value);
            wholethread([&] { elsewhere = threadslot::get(slot); }).join();
            later = threadslot::get(slot);
        }).join();

        CHECK(first == nullptr);
        CHECK(later == &value);
        CHECK(elsewhere == nullptr);
    }
}

TEST_CASE("a thread's slots do not know of each other", "[support]")
{
    void* inFirst = nullptr;
    void* inSecond = &value;
    void* stays = nullptr;

    wholethread([&] {
        threadslot::set(callStack, &value);
        inFirst = threadslot::get(callStack);
        inSecond = threadslot::get(lineStage);
        threadslot::set(lineStage, &another);
        threadslot::set(callStack, nullptr);
        stays = threadslot::get(lineStage);
    }).join();

    CHECK(inFirst == &value);
    CHECK(inSecond == nullptr);
    CHECK(stays == &another);
}

TEST_CASE("a thread's slots leave the thread's error code alone", "[support]")
{
    const toldends told;
    int code = 0;

    wholethread([&code] {
        errno = EDOM;
        threadslot::set(callStack, &value);
        threadslot::set(callStack, threadslot::get(callStack));
        code = errno;
    }).join();

    CHECK(code == EDOM);
}

TEST_CASE("the end of a thread is told on that thread, with its value and an empty slot",
          "[support]")
{
    const toldends told;
    unsigned int thread = 0;

    wholethread([&thread] {
        thread = tolvane::currentThreadId();
        threadslot::set(lineStage, &value);
    }).join();

    const std::vector<toldends::told> all = told.get();
    REQUIRE(all.size() == 1);
    CHECK(all[0].slot == lineStage);
    CHECK(all[0].value == &value);
    CHECK(all[0].thread == thread);
    CHECK(all[0].left == nullptr);
}

TEST_CASE("the end of a thread that the platform's own call has started is told", "[support]")
{
    const toldends told;

    foreignthread::run([](void* argument) { threadslot::set(callStack, argument); }, &value);

    CHECK(told.count(callStack, &value) == 1);
    CHECK(told.count() == 1);
}

TEST_CASE("a thread's end is told once for each slot with a value", "[support]")
{
    const toldends told;

    wholethread([] {
        threadslot::set(callStack, &value);
        threadslot::set(callStack, &another);
        threadslot::set(lineStage, &value);
        threadslot::set(lineStage, &value);
    }).join();

    CHECK(told.count(callStack, &another) == 1);
    CHECK(told.count(lineStage, &value) == 1);
    CHECK(told.count() == 2);
}

TEST_CASE("the end of a thread without values is not told", "[support]")
{
    const toldends told;

    wholethread([] { threadslot::get(callStack); }).join();
    wholethread([] {
        threadslot::set(callStack, &value);
        threadslot::set(callStack, nullptr);
    }).join();

    CHECK(told.count() == 0);
}

TEST_CASE("each of many threads that end together is told of", "[support]")
{
    constexpr std::size_t count = 50;
    const toldends told;
    std::vector<char> values(count);
    std::deque<wholethread> threads;

    for (char& each : values) {
        threads.emplace_back([&each] { threadslot::set(lineStage, &each); });
    }
    for (wholethread& thread : threads) {
        thread.join();
    }

    for (const char& each : values) {
        CHECK(told.count(lineStage, &each) == 1);
    }
}

TEST_CASE("a value that is put in while an end is told is told of where the platform asks again",
          "[support]")
{
    const toldends told(1);
    const std::size_t rounds = foreignthread::isEndToldAgain() ? 2 : 1;

    wholethread([] { threadslot::set(callStack, &value); }).join();

    CHECK(told.count(callStack, &value) == rounds);
}

TEST_CASE("a value that is always put in again does not keep its thread from ending",
          "[support][everyround]")
{
    constexpr int mostRounds = 1000; // more than any system asks
    const toldends told(mostRounds);

    wholethread([] { threadslot::set(callStack, &value); }).join();

    CHECK(told.count(callStack, &value) >= 1);
    CHECK(told.count(callStack, &value) < mostRounds);
}

TEST_CASE("a thread may use its slots in destructors of thread_local objects", "[support]")
{
    const auto useLate = [](void* found) {
        latecomer::found = static_cast<void**>(found);
        late.come();
        threadslot::set(lineStage, &value);
    };
    for (const bool isForeign : {false, true}) {
        INFO((isForeign ? "foreign thread" : "std::thread"));
        const toldends told;
        void* found = &another;

        if (isForeign) {
            foreignthread::run(useLate, &found);
        } else {
            wholethread([&] { useLate(&found); }).join();
        }

        const bool wasInTime = found == &value && told.count(lineStage, &another) == 1;
        const bool wasLate = found == nullptr && told.count(lineStage, &value) == 1;
        CHECK((wasInTime || (wasLate && !foreignthread::isEndToldLast())));
        CHECK(told.count() == 1);
    }
}

TEST_CASE("the thread that ends the process is not told of", "[support]")
{
    const childresult child =
        childprocess::run(childprocess::beside("tolvane_threadslot_tests"), {"[mainends]"});

    CHECK(child.exitCode == 3);
    CHECK(child.output.find("leaving") != std::string::npos);
    CHECK(child.output.find("told") == std::string::npos);
}

TEST_CASE("a process that ends with values in its slots", "[.mainends]")
{
    threadslot::whenThreadEnds(callStack, [](void*) noexcept {
        std::printf("told\n");
        std::fflush(stdout);
    });
    threadslot::set(callStack, &value);
    std::printf("leaving\n");
    std::fflush(stdout);
    std::exit(3);
}
