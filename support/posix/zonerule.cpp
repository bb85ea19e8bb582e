#include "support/posix/zonerule.h"

namespace tolvane {

namespace {

constexpr long long secondsPerDay = 86400;
constexpr long secondsPerHour = 3600;
constexpr long secondsPerMinute = 60;
constexpr int mostDigits = 4; ///< of any number in a rule

constexpr bool isLeap(long long year) noexcept
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days from 1970-01-01 to the first day of a year. No year before 1 is asked for.
constexpr long long daysTo(long long year) noexcept
{
    constexpr long long daysTo1970 = 719162;
    const long long before = year - 1;
    return before * 365 + before / 4 - before / 100 + before / 400 - daysTo1970;
}

long long yearOf(long long second) noexcept
{
    constexpr long long secondsPerYear = 31556952; // on average
    long long year = 1970 + second / secondsPerYear;
    while (daysTo(year) * secondsPerDay > second) {
        --year;
    }
    while (daysTo(year + 1) * secondsPerDay <= second) {
        ++year;
    }
    return year;
}

/// Days from the start of the year to that of a month, from 1 on.
int daysToMonth(int month, bool leap) noexcept
{
    constexpr int days[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    return days[month - 1] + (leap && month > 2 ? 1 : 0);
}

bool isDigit(char character) noexcept
{
    return character >= '0' && character <= '9';
}

bool isLetter(char character) noexcept
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool skip(const char*& text, char expected) noexcept
{
    const bool isThere = *text == expected;
    text += isThere ? 1 : 0;
    return isThere;
}

} // namespace

/// Letters, or anything between "<" and ">".
bool ZoneRule::parseName(const char*& text) noexcept
{
    if (skip(text, '<')) {
        while (*text != 0 && *text != '>') {
            ++text;
        }
        return skip(text, '>');
    }
    const char* const start = text;
    while (isLetter(*text)) {
        ++text;
    }
    return text != start;
}

bool ZoneRule::parseNumber(const char*& text, int& number) noexcept
{
    const char* const start = text;
    number = 0;
    while (isDigit(*text) && text - start < mostDigits) {
        number = number * 10 + (*text++ - '0');
    }
    return text != start;
}

/// Hours, and minutes and seconds if they are there, with or without a sign.
bool ZoneRule::parseTime(const char*& text, long& seconds) noexcept
{
    const bool isNegative = skip(text, '-');
    if (!isNegative) {
        skip(text, '+');
    }
    int hours = 0;
    int minutes = 0;
    int rest = 0;
    if (!parseNumber(text, hours) ||
        (skip(text, ':') &&
         (!parseNumber(text, minutes) || (skip(text, ':') && !parseNumber(text, rest))))) {
        return false;
    }
    seconds = hours * secondsPerHour + minutes * secondsPerMinute + rest;
    seconds = isNegative ? -seconds : seconds;
    return true;
}

/// "Mmonth.week.day", "Jday" or "day", and "/time" if it is there.
bool ZoneRule::parseChange(const char*& text, change& parsed) noexcept
{
    if (skip(text, 'M')) {
        parsed.how = form::weekday;
        if (!parseNumber(text, parsed.month) || !skip(text, '.') ||
            !parseNumber(text, parsed.week) || !skip(text, '.') || !parseNumber(text, parsed.day) ||
            parsed.month < 1 || parsed.month > 12 || parsed.week < 1 || parsed.week > 5 ||
            parsed.day > 6) {
            return false;
        }
    } else {
        parsed.how = skip(text, 'J') ? form::julian : form::zeroBased;
        if (!parseNumber(text, parsed.day)) {
            return false;
        }
    }
    return !skip(text, '/') || parseTime(text, parsed.time);
}

/// Offsets are given as what is to be added to get to UTC.
bool ZoneRule::parse(const char* text) noexcept
{
    *this = ZoneRule();
    long behind = 0;
    if (!parseName(text) || !parseTime(text, behind)) {
        return false;
    }
    m_standard = -behind;
    if (*text == 0) {
        return true;
    }
    if (!parseName(text)) {
        return false;
    }
    behind = -m_standard - secondsPerHour;
    if (*text != ',' && !parseTime(text, behind)) {
        return false;
    }
    m_daylight = -behind;
    m_hasDaylight = true;
    return skip(text, ',') && parseChange(text, m_start) && skip(text, ',') &&
           parseChange(text, m_end) && *text == 0;
}

long long ZoneRule::change::in(long long year) const noexcept
{
    constexpr long long fourthOf1970 = 4; // 1970-01-01 was a Thursday
    const bool leap = isLeap(year);
    const long long first = daysTo(year);
    long long inYear = day;
    if (how == form::julian) {
        inYear = day - 1 + (leap && day > 59 ? 1 : 0);
    } else if (how == form::weekday) {
        const int monthStart = daysToMonth(month, leap);
        const int monthEnd = month == 12 ? monthStart + 31 : daysToMonth(month + 1, leap);
        const long long weekday = ((first + monthStart + fourthOf1970) % 7 + 7) % 7;
        inYear = monthStart + (day - weekday + 7) % 7 + (week - 1) * 7LL;
        inYear -= inYear >= monthEnd ? 7 : 0;
    }
    return (first + inYear) * secondsPerDay + time;
}

long ZoneRule::offset(long long second) const noexcept
{
    if (!m_hasDaylight) {
        return m_standard;
    }
    const long long year = yearOf(second + m_standard);
    const long long start = m_start.in(year)-m_standard;
    const long long end = m_end.in(year)-m_daylight;
    const bool isDaylight =
        start < end ? second >= start && second < end : second >= start || second < end;
    return isDaylight ? m_daylight : m_standard;
}

} // namespace tolvane
