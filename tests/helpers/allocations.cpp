#include "tests/helpers/allocations.h"

#include <cstdlib>
#include <new>

namespace {

constexpr unsigned long long never = ~0ULL;

thread_local unsigned long long made = 0;
thread_local unsigned long long failFrom = never;
thread_local bool nothrowFails = false;

void* allocate(std::size_t size) noexcept
{
    if (made >= failFrom) {
        return nullptr;
    }
    ++made;
    return std::malloc(size != 0 ? size : 1);
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

failure::failure(unsigned long long after) noexcept
{
    failFrom = made + after;
}

failure::~failure()
{
    failFrom = never;
}

nothrowfailure::nothrowfailure() noexcept
{
    nothrowFails = true;
}

nothrowfailure::~nothrowfailure()
{
    nothrowFails = false;
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
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}
