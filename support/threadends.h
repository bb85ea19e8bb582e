#pragma once

#include "support/callerserror.h"
#include "support/threadslot.h"

#include <atomic>

namespace tolvane::threadslot {

/// Who wants to know of threads' ends: what the platforms' slots have in common. Never destroyed.
class ThreadEnds
{
public:
    constexpr ThreadEnds() noexcept = default; ///< so that it is there before anything runs

    void want(slot_t slot, ended_t ended) noexcept
    {
        m_functions[slot].store(ended, std::memory_order_release);
    }

    bool isWanted(slot_t slot) const noexcept
    {
        return m_functions[slot].load(std::memory_order_acquire) != nullptr;
    }

    /// On the thread that ends. The last slot comes first: whoever owns it may still use the
    /// others.
    void tell() const noexcept
    {
        const CallersError callersError;
        for (int index = slots - 1; index >= 0; --index) {
            const auto slot = static_cast<slot_t>(index);
            void* const value = get(slot);
            const ended_t ended = m_functions[slot].load(std::memory_order_acquire);
            if (value && ended) {
                setUnnoticed(slot, nullptr);
                ended(value);
            }
        }
    }

private:
    std::atomic<ended_t> m_functions[slots] = {};
};

} // namespace tolvane::threadslot
