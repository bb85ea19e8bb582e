#pragma once

#include <cstdlib>

namespace hardfault {

/// The allocator finds a broken list while it holds its lock, and is interrupted there.
inline void faultUnderAllocatorsLock()
{
    void* volatile first = std::malloc(20000);
    void* volatile between = std::malloc(5000); // keeps it apart from what is free
    std::free(first);
    static_cast<void* volatile*>(first)[1] = reinterpret_cast<void*>(0x10);
    void* volatile last = std::malloc(30000);
    std::free(last);
    std::free(between);
}

} // namespace hardfault
