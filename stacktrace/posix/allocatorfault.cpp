#include "stacktrace/posix/allocatorfault.h"

#include "stacktrace/structuredexception.h"

#include <unwind.h>

#include <algorithm>
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
        reserve = std::malloc(exceptionHeader + sizeof(AllocatorFault));
    }
}

void releaseExceptionReserve() noexcept
{
    std::free(std::exchange(reserve, nullptr));
}

} // namespace faults
