#pragma once

#include <atomic>

namespace tolvane {

/// Makes a plain variable of the application's, which several threads read and write, atomic for
/// this access. The standard's std::atomic_ref comes with C++20 only.
template <class value_t>
std::atomic<value_t>& atomicRef(value_t& variable) noexcept
{
    static_assert(sizeof(std::atomic<value_t>) == sizeof(value_t),
                  "the two must share their layout");
    static_assert(std::atomic<value_t>::is_always_lock_free,
                  "the atomic must be the bare variable");
    return reinterpret_cast<std::atomic<value_t>&>(variable);
}

} // namespace tolvane
