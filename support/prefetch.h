#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace tolvane {

/// Has the processor fetch memory that will be written soon, perhaps from another processor that
/// wrote it last. Changes nothing but the time that writing takes; any address is allowed.
inline void prefetch(const void* memory, std::size_t bytes) noexcept
{
    constexpr std::size_t cacheLine = 64; ///< bytes
    const auto start = reinterpret_cast<std::uintptr_t>(memory) / cacheLine * cacheLine;
    const auto end = reinterpret_cast<std::uintptr_t>(memory) + bytes;
    for (std::uintptr_t line = start; line < end; line += cacheLine) {
        const auto* const first = reinterpret_cast<const char*>(line);
#if defined(_MSC_VER)
        _m_prefetchw(first);
#else
        // not the compiler's own function, which it takes for one without effect and leaves out
        __asm__ volatile("prefetchw %0" : : "m"(*first));
#endif
    }
}

} // namespace tolvane
