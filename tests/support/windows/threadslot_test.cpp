#include "support/threadslot.h"

#include "support/windows/platform.h"
#include "tests/helpers/toldends.h"
#include "tests/helpers/wholethread.h"

#include <catch2/catch.hpp>

namespace threadslot = tolvane::threadslot;

using threadslot::callStack;

namespace {

int value = 0;
void* caller = nullptr; ///< the fiber to go back to

void WINAPI putValueIn(void*)
{
    threadslot::set(callStack, &value);
    SwitchToFiber(caller);
}

/// A fiber that has put a value into its thread's slot.
void* usedFiber()
{
    caller = ConvertThreadToFiber(nullptr);
    void* const fiber = CreateFiber(0, putValueIn, nullptr);
    SwitchToFiber(fiber);
    return fiber;
}

} // namespace

TEST_CASE("a thread's slots leave the thread's last error alone", "[support]")
{
    const toldends told;
    constexpr DWORD unusual = 4711;
    DWORD code = 0;

    wholethread([&code] {
        SetLastError(unusual);
        threadslot::set(callStack, &value);
        threadslot::set(callStack, threadslot::get(callStack));
        code = GetLastError();
    }).join();

    CHECK(code == unusual);
}

TEST_CASE("the end of the fiber that put a value in counts as its thread's end", "[support]")
{
    const toldends told;
    void* left = &value;

    wholethread([&left] {
        DeleteFiber(usedFiber());
        left = threadslot::get(callStack);
        threadslot::set(callStack, &value);
        ConvertFiberToThread();
    }).join();

    CHECK(left == nullptr);
    CHECK(told.count(callStack, &value) == 2);
}

TEST_CASE("a fiber that another thread deletes takes nothing from that thread", "[support]")
{
    const toldends told;
    int another = 0;
    void* kept = nullptr;

    wholethread([&] {
        void* const fiber = usedFiber();
        wholethread([&] {
            threadslot::set(callStack, &another);
            DeleteFiber(fiber);
            kept = threadslot::get(callStack);
        }).join();
    }).join();

    CHECK(kept == &another);
    CHECK(told.count(callStack, &another) == 1);
}
