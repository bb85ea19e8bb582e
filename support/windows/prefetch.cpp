#include "support/prefetch.h"

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace tolvane {

/// Not by GCC's own function, which it takes for one without effect and leaves out.
void prefetch(const void* memory, std::size_t bytes) noexcept
{
    forEachCacheLine(memory, bytes, [](const char* line) {
#if defined(_MSC_VER)
        _m_prefetchw(line);
#else
        __asm__ volatile("prefetchw %0" : : "m"(*line));
#endif
    });
}

} // namespace tolvane
