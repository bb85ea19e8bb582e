#include "support/clock.h"

#include "support/autoresetevent.h"

#include <atomic>

namespace tolvane {

namespace {

std::atomic<const Clock*> replacement{nullptr};

/// Made when the library is loaded: a thread that the process's end or a fork stops amid the making
/// would leave others waiting for ever.
[[maybe_unused]] const Clock& early = Clock::platform();

} // namespace

const Clock& Clock::current() noexcept
{
    const Clock* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : platform();
}

bool Clock::isReplaced() noexcept
{
    return replacement.load(std::memory_order_relaxed) != nullptr;
}

bool Clock::wait(AutoResetEvent& event, unsigned int milliseconds) const noexcept
{
    return event.wait(true, milliseconds);
}

void Clock::use(const Clock* clock) noexcept
{
    replacement.store(clock, std::memory_order_release);
}

} // namespace tolvane
