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

    /// The function's effective level as it was found out last.
    /// \return whether it still holds.
    static bool remembers(const hashedfunction& function, tracelevel_t& level) noexcept
    {
        const unsigned int generation = current();
        const unsigned long long remembered =
            tolvane::atomicRef(function.m_level).load(std::memory_order_relaxed);
        level = static_cast<tracelevel_t>(static_cast<unsigned int>(remembered));
        return static_cast<unsigned int>(remembered >> generationShift) == generation;
    }

    /// \param generation  the current one, from before the level was found out.
    static void remember(const hashedfunction& function, unsigned int generation,
                         tracelevel_t level) noexcept
    {
        tolvane::atomicRef(function.m_level)
            .store(static_cast<unsigned long long>(generation) << generationShift |
                       static_cast<unsigned int>(level),
                   std::memory_order_relaxed);
    }

private:
    /// A function keeps the generation above its level.
    static constexpr unsigned int generationShift = 32;

    static std::atomic<unsigned int>& shared() noexcept
    {
        return tolvane::atomicRef(hashedfunction::s_levelGeneration);
    }
};
