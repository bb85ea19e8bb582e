#include "support/clock.h"

#include <atomic>

namespace tolvane {

namespace {

std::atomic<const Clock*> replacement{nullptr};

} // namespace

const Clock& Clock::current() noexcept
{
    const Clock* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : platform();
}

void Clock::use(const Clock* clock) noexcept
{
    replacement.store(clock, std::memory_order_release);
}

} // namespace tolvane
