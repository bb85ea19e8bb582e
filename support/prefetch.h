#pragma once

#include <cstddef>

namespace tolvane {

/// Has the processor fetch memory that will be written soon, perhaps from another processor that
/// wrote it last. Changes nothing but the time that writing takes; any address is allowed.
void prefetch(const void* memory, std::size_t bytes) noexcept;

/// Calls action(address) for an address in each of the cache lines in which the memory lies.
template <class action_t>
void forEachCacheLine(const void* memory, std::size_t bytes, action_t action) noexcept
{
    constexpr std::size_t lineSize = 64; ///< bytes, on all processors of this architecture
    const auto* const first = static_cast<const char*>(memory);
    for (std::size_t done = 0; done < bytes; done += lineSize) {
        action(first + done);
    }
    if (bytes != 0) {
        action(first + bytes - 1);
    }
}

} // namespace tolvane
