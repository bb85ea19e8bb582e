#include "stacktrace/posix/alternatestack.h"

#include <catch2/catch.hpp>

#include <signal.h>
#include <sys/mman.h>

#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace {

const std::size_t leastSize = 64 * 1024;

stack_t current()
{
    stack_t stack = {};
    sigaltstack(nullptr, &stack);
    return stack;
}

void set(void* memory, std::size_t size)
{
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = size;
    stack.ss_flags = memory == nullptr ? SS_DISABLE : 0;
    sigaltstack(&stack, nullptr);
}

/// Runs on a thread of its own, since the stack belongs to the thread. A sanitizer's stack is put
/// aside meanwhile.
template <class Function>
void onThread(const Function& function)
{
    std::thread([&function] {
        const stack_t before = current();
        set(nullptr, 0);
        function();
        set(before.ss_flags == SS_DISABLE ? nullptr : before.ss_sp, before.ss_size);
    }).join();
}

} // namespace

TEST_CASE("an armed thread has an alternate stack of 64 KiB at least", "[stacktrace]")
{
    onThread([] {
        faults::AlternateStack stack;
        stack.arm();

        CHECK(current().ss_flags == 0);
        CHECK(current().ss_size >= leastSize);
    });
}

TEST_CASE("arming again changes nothing", "[stacktrace]")
{
    onThread([] {
        faults::AlternateStack stack;
        stack.arm();
        void* const first = current().ss_sp;
        stack.arm();

        CHECK(current().ss_sp == first);
    });
}

TEST_CASE("an alternate stack that is large enough is left in place", "[stacktrace]")
{
    onThread([] {
        std::vector<char> own(leastSize);
        set(own.data(), own.size());
        {
            faults::AlternateStack stack;
            stack.arm();
            CHECK(current().ss_sp == own.data());
        }
        CHECK(current().ss_sp == own.data());
    });
}

TEST_CASE("an alternate stack that is too small is replaced, and put back at the end",
          "[stacktrace]")
{
    onThread([] {
        std::vector<char> own(leastSize / 2);
        set(own.data(), own.size());
        {
            faults::AlternateStack stack;
            stack.arm();
            CHECK(current().ss_sp != own.data());
        }
        CHECK(current().ss_sp == own.data());
        CHECK(current().ss_size == own.size());
    });
}

TEST_CASE("the memory of an alternate stack is freed with its owner", "[stacktrace]")
{
    onThread([] {
        auto stack = std::make_unique<faults::AlternateStack>();
        stack->arm();
        void* const memory = current().ss_sp;
        const std::size_t size = current().ss_size;
        CHECK(msync(memory, size, MS_ASYNC) == 0);
        stack.reset();

        CHECK(current().ss_flags == SS_DISABLE);
        CHECK(msync(memory, size, MS_ASYNC) != 0); // not mapped any more
    });
}
