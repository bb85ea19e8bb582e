#include <tolvane/callsite.h>

#include "support/atomicref.h"
#include "support/clock.h"

namespace tolvane {

/// Stops counting when there are enough, so that the count never begins anew.
bool callsite::isAmongFirst(unsigned long long n) noexcept
{
    std::atomic<unsigned long long>& past = atomicRef(m_past);
    return past.load(std::memory_order_relaxed) < n &&
           past.fetch_add(1, std::memory_order_relaxed) < n;
}

bool callsite::isEvery(unsigned long long n) noexcept
{
    return n < 2 || atomicRef(m_past).fetch_add(1, std::memory_order_relaxed) % n == 0;
}

bool callsite::isDue(unsigned long long milliseconds) noexcept
{
    if (milliseconds == 0) {
        return true;
    }
    std::atomic<unsigned long long>& past = atomicRef(m_past);
    unsigned long long last = past.load(std::memory_order_acquire); // before the clock is asked
    const unsigned long long now = Clock::current().monotonicMilliseconds() + 1;
    const bool isTooEarly = last != 0 && now - last < milliseconds;
    return !isTooEarly && past.compare_exchange_strong(last, now, std::memory_order_acq_rel);
}

} // namespace tolvane
