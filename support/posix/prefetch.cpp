#include "support/prefetch.h"

namespace tolvane {

/// Not by the compiler's own function, which it takes for one without effect and leaves out.
void prefetch(const void* memory, std::size_t bytes) noexcept
{
    forEachCacheLine(memory, bytes, [](const char* line) {
        __asm__ volatile("prefetchw %0" : : "m"(*line));
    });
}

} // namespace tolvane
