#pragma once

#include <atomic>
#include <limits>

namespace tolvane {

/// Seconds by which the local wall clock is ahead of UTC, as the system tells for a time, given in
/// seconds since 1970. 0 when it cannot tell. Any thread may call it.
long zoneOffset(long long second) noexcept;

/// Remembers the zone's offset for a second, since zones change at whole seconds and asking takes
/// as long as reading the clock. Any thread may use it.
class zonememory
{
public:
    using ask_t = long (*)(long long second) noexcept;

    constexpr explicit zonememory(ask_t ask) noexcept : m_ask(ask) {}

    /// Asks when the time is in another second than the last one.
    long offset(long long second) noexcept
    {
        const long long known = m_known.load(std::memory_order_relaxed);
        return known >> offsetBits == second ? static_cast<long>(known & (2 * bias - 1)) - bias
                                             : askAgain(second);
    }

private:
    static constexpr int offsetBits = 20;
    static constexpr long bias = 1L << (offsetBits - 1); ///< no packed offset is negative

    long askAgain(long long second) noexcept;

    const ask_t m_ask;
    /// The second, and below it the biased offset; at first a second that no clock shows.
    std::atomic<long long> m_known{std::numeric_limits<long long>::min()};
};

} // namespace tolvane
