#pragma once

#include <atomic>

/// Counts the changes that may give a function another effective level: of a sink's levels, and of
/// the attached sinks. What was found out under one generation holds until the next.
class levelgeneration
{
public:
    static unsigned int current() noexcept { return s_generation.load(std::memory_order_acquire); }

    /// To be called after every change. Never yields 0, which stands for "nothing found out yet".
    static void raise() noexcept
    {
        if (s_generation.fetch_add(1, std::memory_order_acq_rel) + 1 == 0) {
            s_generation.fetch_add(1, std::memory_order_acq_rel);
        }
    }

private:
    static inline std::atomic<unsigned int> s_generation{1};
};
