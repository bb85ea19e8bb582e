#pragma once

#include <time.h>

namespace tolvane {

/// The millisecond that a thread read from the clock last, to be shown again while it lasts.
///
/// Reading the clock waits until the processor has finished all that it had begun, which costs more
/// than everything else in making a record. Two sources that are not waited for tell whether it
/// must be read: the processor's counter of cycles, how much time can have passed; and the time of
/// the system's last tick, which follows whenever the clock is set. Where the counters of several
/// processors differ, or stand still in sleep, the tick keeps the error below its own length, a few
/// milliseconds.
class lastmillisecond
{
public:
    /// \param cycle  the counter of cycles now.
    /// \param tick   the time of the last tick.
    bool lasts(unsigned long long cycle, const timespec& tick) const noexcept
    {
        return cycle - m_cycle < m_cycles && nanoseconds(tick) < m_end;
    }

    unsigned long long shown() const noexcept { return m_shown; }

    /// \param cycle  the counter of cycles before the clock was read.
    /// \param time   what the clock told.
    /// \param shown  what this millisecond is shown as.
    void remember(unsigned long long cycle, const timespec& time, unsigned long long shown) noexcept
    {
        constexpr long long millisecond = 1000000;
        constexpr long long nanosecondsPerCycle = 2; // at most: processors count faster than that
        const long long left = millisecond - time.tv_nsec % millisecond;
        m_cycle = cycle;
        m_cycles = static_cast<unsigned long long>(left / nanosecondsPerCycle);
        m_end = nanoseconds(time) + left;
        m_shown = shown;
    }

private:
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
