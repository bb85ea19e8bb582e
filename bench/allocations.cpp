/// The allocator of a program that counts. In front of each block stands what its end must know.

#include "bench/allocations.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

struct blockheader
{
    void* start; ///< of what malloc gave
    std::size_t size;
};

std::atomic<long long> inUse{0};

void* allocate(std::size_t size, std::size_t alignment) noexcept
{
    alignment = std::max(alignment, alignof(std::max_align_t));
    void* const start = std::malloc(size + sizeof(blockheader) + alignment);
    if (!start) {
        return nullptr;
    }
    char* block = static_cast<char*>(start) + sizeof(blockheader);
    const auto excess = reinterpret_cast<std::uintptr_t>(block) & (alignment - 1);
    block += excess == 0 ? 0 : alignment - excess;
    new (block - sizeof(blockheader)) blockheader{start, size};
    inUse += static_cast<long long>(size);
    return block;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment)
{
    void* const block = allocate(size, alignment);
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* block) noexcept
{
    if (block) {
        const blockheader header =
            *reinterpret_cast<blockheader*>(static_cast<char*>(block) - sizeof(blockheader));
        inUse -= static_cast<long long>(header.size);
        std::free(header.start);
    }
}

} // namespace

long long bench::bytesInUse()
{
    return inUse;
}

void* operator new(std::size_t size)
{
    return allocateOrThrow(size, 1);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size, 1);
}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    release(block);
}

void operator delete(void* block, std::align_val_t) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t, std::align_val_t) noexcept
{
    release(block);
}
