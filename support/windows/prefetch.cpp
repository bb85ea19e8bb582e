#include "support/prefetch.h"

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace tolvane {

/// Not by GCC's own function, which it takes for one without effect and leaves out.
void prefetch(const void* address) noexcept
{
#if defined(_MSC_VER)
    _m_prefetchw(address);
#else
    __asm__ volatile("prefetchw %0" : : "m"(*static_cast<const char*>(address)));
#endif
}

} // namespace tolvane
