#pragma once

namespace tolvane {

/// Tells when stamps were taken, from where the clock stood at two of them. Used by one thread at a
/// time.
class StampTimes
{
public:
    /// The clock is read at the first stamp of all.
    StampTimes() noexcept;

    /// Reads the clock.
    /// \param stamp  was taken just before.
    void mark(unsigned long long stamp) noexcept;

    /// Nanoseconds since 1970 UTC, of a stamp that was taken between the last two marks; for others
    /// it is less exact, and so it is when the clock was set meanwhile.
    long long at(unsigned long long stamp) const noexcept;

private:
    struct reading
    {
        unsigned long long stamp;
        long long time; ///< nanoseconds since 1970 UTC
    };

    reading m_last;
    double m_pace = 0; ///< nanoseconds a stamp, between the last two marks
};

} // namespace tolvane
