#include "tests/helpers/allocations.h"

#include "tests/helpers/allocatedsize.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr unsigned long long never = ~0ULL;

thread_local unsigned long long made = 0;
thread_local unsigned long long released = 0;
thread_local unsigned long long failFrom = never;
thread_local bool nothrowFails = false;
thread_local unsigned long long interruptedFrom = never;
thread_local const std::function<void()>* interrupt = nullptr;

std::atomic<long long> inUse{0};

constexpr long long plenty = std::numeric_limits<long long>::max();

/// How many allocations succeed, of all threads.
std::atomic<long long> left{plenty};

bool isShort()
{
    return left.load(std::memory_order_relaxed) != plenty &&
           left.fetch_sub(1, std::memory_order_relaxed) <= 0;
}

void* allocate(std::size_t size)
{
    if (made >= failFrom || isShort()) {
        return nullptr;
    }
    if (made >= interruptedFrom) {
        interruptedFrom = never;
        (*interrupt)();
    }
    ++made;
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory) {
        inUse.fetch_add(static_cast<long long>(allocatedSize(memory)), std::memory_order_relaxed);
    }
    return memory;
}

void release(void* memory) noexcept
{
    if (memory) {
        ++released;
        inUse.fetch_sub(static_cast<long long>(allocatedSize(memory)), std::memory_order_relaxed);
    }
    std::free(memory);
}

void* allocateOrThrow(std::size_t size)
{
    void* const memory = allocate(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace allocations {

unsigned long long count() noexcept
{
    return made;
}

unsigned long long alive() noexcept
{
    return made - released;
}

long long bytesInUse() noexcept
{
    return inUse.load(std::memory_order_relaxed);
}

failure::failure(unsigned long long after) noexcept
{
    failFrom = made + after;
}

failure::~failure()
{
    failFrom = never;
}

shortage::shortage(unsigned long long after) noexcept
{
    left = static_cast<long long>(after);
}

shortage::~shortage()
{
    left = plenty;
}

bool shortage::wasFelt() const noexcept
{
    return left < 0;
}

nothrowfailure::nothrowfailure() noexcept
{
    nothrowFails = true;
}

nothrowfailure::~nothrowfailure()
{
    nothrowFails = false;
}

interruption::interruption(unsigned long long after, const std::function<void()>& action) noexcept
{
    interrupt = &action;
    interruptedFrom = made + after;
}

interruption::~interruption()
{
    interruptedFrom = never;
}

} // namespace allocations

void* operator new(std::size_t size)
{
    return allocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return allocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return nothrowFails ? nullptr : allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return nothrowFails ? nullptr : allocate(size);
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete[](void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    release(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    release(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    release(memory);
}
