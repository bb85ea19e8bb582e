#pragma once

namespace tolvane {

/// The rule by which a time zone changes between its standard and its daylight saving time in every
/// year, in the form of the variable TZ: "CET-1CEST,M3.5.0,M10.5.0/3".
class ZoneRule
{
public:
    /// \return false when the text is none, or gives no dates for a daylight saving time.
    bool parse(const char* text) noexcept;

    /// Seconds by which the zone is ahead of UTC, at a time in seconds since 1970.
    long offset(long long second) const noexcept;

private:
    enum class form
    {
        julian,    ///< a day of the year, from 1 on, 29 February not counted
        zeroBased, ///< a day of the year, from 0 on, 29 February counted
        weekday,   ///< a day of a week of a month
    };

    struct change
    {
        form how = form::zeroBased;
        int month = 0;
        int week = 0; ///< 5: the last one
        int day = 0;
        long time = 7200; ///< seconds behind midnight, may be negative

        /// When it is in a year, by the clock as it was before, in seconds since 1970.
        long long in(long long year) const noexcept;
    };

    static bool parseName(const char*& text) noexcept;
    static bool parseNumber(const char*& text, int& number) noexcept;
    static bool parseTime(const char*& text, long& seconds) noexcept;
    static bool parseChange(const char*& text, change& parsed) noexcept;

    long m_standard = 0; ///< seconds ahead of UTC
    long m_daylight = 0;
    bool m_hasDaylight = false;
    change m_start; ///< of daylight saving time
    change m_end;
};

} // namespace tolvane
