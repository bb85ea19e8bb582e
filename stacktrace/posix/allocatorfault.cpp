#include "stacktrace/posix/allocatorfault.h"

#include "stacktrace/structuredexception.h"

#include <malloc.h>
#include <unwind.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace faults {

namespace {

/// What the runtime puts before each exception (its __cxa_refcounted_exception).
constexpr std::size_t exceptionHeader = 128;

/// The allocator's own functions, and those of the system that it calls, are fewer.
constexpr int mostFrames = 16;

/// Of a block, beyond what was asked for: the allocator hands out multiples of this.
constexpr std::size_t granularity = 2 * sizeof(std::size_t);

/// So many may be at hand that are larger.
constexpr int mostTries = 64;

thread_local void* reserve = nullptr;

template <class function_t>
uintptr_t addressOf(function_t function) noexcept
{
    return reinterpret_cast<uintptr_t>(function);
}

bool isEntry(uintptr_t function) noexcept
{
    const uintptr_t entries[] = {addressOf(&malloc),        addressOf(&calloc),
                                 addressOf(&realloc),       addressOf(&free),
                                 addressOf(&aligned_alloc), addressOf(&posix_memalign)};
    return std::find(std::begin(entries), std::end(entries), function) != std::end(entries);
}

struct Search
{
    int frames = 0;
    bool isFound = false;
};

_Unwind_Reason_Code look(_Unwind_Context* frame, void* argument)
{
    auto& search = *static_cast<Search*>(argument);
    search.isFound = isEntry(static_cast<uintptr_t>(_Unwind_GetRegionStart(frame)));
    return search.isFound || ++search.frames > mostFrames ? _URC_END_OF_STACK : _URC_NO_REASON;
}

std::size_t excess(void* block, std::size_t size) noexcept
{
    return block ? malloc_usable_size(block) - size : 0;
}

/// A block of just the size that the allocator's lists have for such a demand: of what is at hand
/// it may hand out blocks that are a little larger, and would look for them in another list.
void* takeExactly(std::size_t size) noexcept
{
    void* found = std::malloc(size);
    void* others = nullptr; // linked, for as long as the search lasts
    for (int tries = 0; tries < mostTries && excess(found, size) >= granularity; ++tries) {
        *static_cast<void**>(found) = others;
        others = found;
        found = std::malloc(size);
    }
    while (others) {
        std::free(std::exchange(others, *static_cast<void**>(others)));
    }
    return found;
}

} // namespace

bool isWithinAllocator() noexcept
{
    Search search;
    _Unwind_Backtrace(&look, &search);
    return search.isFound;
}

/// Allocators keep small blocks that a thread gives back for that thread, a few of each size: of
/// this odd one there will be none.
void keepExceptionReserve() noexcept
{
    struct Keeper
    {
        ~Keeper() { releaseExceptionReserve(); }
    };
    static const thread_local Keeper keeper;
    static_cast<void>(keeper);
    if (!reserve) {
        reserve = takeExactly(exceptionHeader + sizeof(AllocatorFault));
    }
}

void releaseExceptionReserve() noexcept
{
    std::free(std::exchange(reserve, nullptr));
}

} // namespace faults
