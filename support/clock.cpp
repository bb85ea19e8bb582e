#include "support/clock.h"

#include "support/autoresetevent.h"

#include <algorithm>
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

/// Numbers that no clock shows may wrap.
long long Clock::utcOf(unsigned long long localMilliseconds, long long about) const noexcept
{
    constexpr long long nanosecondsPerSecond = 1000000000;
    constexpr unsigned long long nanosecondsPerMillisecond = 1000000;
    const auto offset = static_cast<unsigned long long>(zoneOffset(about / nanosecondsPerSecond));
    const auto first =
        static_cast<long long>((localMilliseconds - offset * 1000) * nanosecondsPerMillisecond);
    const unsigned long long past =
        static_cast<unsigned long long>(about) - static_cast<unsigned long long>(first);
    return about <= first
               ? first
               : first + static_cast<long long>(std::min(past, nanosecondsPerMillisecond - 1));
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
