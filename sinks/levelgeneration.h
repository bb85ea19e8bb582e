#pragma once

#include <tolvane/hashedfunction.h>
#include <tolvane/tracelevel.h>

#include "support/atomicref.h"

#include <atomic>

/// Counts the changes that may give a function another effective level: of a sink's levels, and of
/// the attached sinks. What was found out under one generation holds until the next; a function
/// remembers it, so that asking for its level takes no lock.
class levelgeneration
{
public:
    static unsigned int current() noexcept { return shared().load(std::memory_order_acquire); }

    /// To be called after every change.
    static void raise() noexcept
    {
        if (shared().fetch_add(1, std::memory_order_acq_rel) + 1 == 0) {
            shared().fetch_add(1, std::memory_order_acq_rel);
        }
    }

    /// \param generation  the current one, from before the level was found out.
    static void remember(const hashedfunction& function, unsigned int generation,
                         tracelevel_t level) noexcept
    {
        tolvane::atomicRef(function.m_level)
            .store(static_cast<unsigned long long>(generation) << hashedfunction::generationShift |
                       static_cast<unsigned int>(level),
                   std::memory_order_relaxed);
    }

private:
    static std::atomic<unsigned int>& shared() noexcept
    {
        return tolvane::atomicRef(hashedfunction::s_levelGeneration);
    }
};
