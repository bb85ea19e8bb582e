#pragma once

#include <new>

namespace tolvane {

/// An object that is made on first use, in no memory but its own, and never destroyed: others may
/// want it until the very end of the process.
///
/// \tparam tag_t  tells it from others of its class.
template <class object_t, class tag_t>
object_t& permanent() noexcept
{
    alignas(object_t) static unsigned char memory[sizeof(object_t)];
    static auto* const made = new (memory) object_t;
    return *made;
}

} // namespace tolvane
