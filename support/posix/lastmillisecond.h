#pragma once

#include <time.h>

#include <atomic>

namespace tolvane {

/// The millisecond that a thread read from the clock last, to be shown again while it lasts.
///
/// Reading the clock waits until the processor has finished all that it had begun, which costs more
/// than everything else in making a record. Two sources that are not waited for tell whether it
/// must be read: the processor's counter of cycles, how much time can have passed; and the time of
/// the system's last tick, which follows whenever the clock is set. Where the counters of several
/// processors differ, or stand still in sleep, the tick keeps the error below its own length, a few
/// milliseconds.
///
/// Used by one thread, and by the signal handlers that interrupt it.
class lastmillisecond
{
public:
    /// \param cycle  the counter of cycles now.
    /// \param tick   the time of the last tick.
    bool lasts(unsigned long long cycle, const timespec& tick) const noexcept
    {
        const long long left = m_end - nanoseconds(tick);
        return cycle - m_cycle < m_cycles && left > 0 && left <= millisecond + longestTick;
    }

    unsigned long long shown() const noexcept { return m_shown; }

    /// \param cycle  the counter of cycles before the clock was read.
    /// \param time   what the clock told.
    /// \param shown  what this millisecond is shown as.
    void remember(unsigned long long cycle, const timespec& time, unsigned long long shown) noexcept
    {
        constexpr long long nanosecondsPerCycle = 2; // at most: processors count faster than that
        const long long left = millisecond - time.tv_nsec % millisecond;
        m_cycles = 0; // nothing lasts for a handler that comes in between
        std::atomic_signal_fence(std::memory_order_seq_cst);
        m_shown = shown;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        m_end = nanoseconds(time) + left;
        m_cycle = cycle;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        m_cycles = static_cast<unsigned long long>(left / nanosecondsPerCycle);
    }

private:
    // in nanoseconds; ticks are 1 to 10 ms apart on most systems
    static constexpr long long millisecond = 1000000;
    static constexpr long long longestTick = 20000000;

    static long long nanoseconds(const timespec& time) noexcept
    {
        return time.tv_sec * 1000000000LL + time.tv_nsec;
    }

    unsigned long long m_cycle = 0;  ///< when the clock was read
    unsigned long long m_cycles = 0; ///< so many later the millisecond still lasts
    long long m_end = 0;             ///< nanoseconds since 1970
    unsigned long long m_shown = 0;
};

} // namespace tolvane
