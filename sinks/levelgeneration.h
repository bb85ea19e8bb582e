#pragma once

#include <tolvane/hashedfunction.h>

/// Counts the changes that may give a function another effective level: of a sink's levels, and of
/// the attached sinks. What was found out under one generation holds until the next.
class levelgeneration
{
public:
    static unsigned int current() noexcept
    {
        return hashedfunction::s_levelGeneration.load(std::memory_order_acquire);
    }

    /// To be called after every change.
    static void raise() noexcept
    {
        if (hashedfunction::s_levelGeneration.fetch_add(1, std::memory_order_acq_rel) + 1 == 0) {
            hashedfunction::s_levelGeneration.fetch_add(1, std::memory_order_acq_rel);
        }
    }
};
