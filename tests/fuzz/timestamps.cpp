#include "sinks/timestamp.h"

#include "support/clock.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"

#include <ctime>
#include <cwchar>
#include <string>

namespace {

std::wstring padded(unsigned long long number, std::size_t digits)
{
    std::wstring text = std::to_wstring(number);
    while (text.size() < digits) {
        text.insert(0, 1, L'0');
    }
    return text;
}

/// Of a year with as many digits as it has, but four at least.
std::wstring stampOf(unsigned long long year, unsigned int month, unsigned int day,
                     unsigned long long milliseconds)
{
    return padded(year, 4) + L'-' + padded(month, 2) + L'-' + padded(day, 2) + L' ' +
           padded(milliseconds / 3600000 % 24, 2) + L':' + padded(milliseconds / 60000 % 60, 2) +
           L':' + padded(milliseconds / 1000 % 60, 2) + L'.' + padded(milliseconds % 1000, 3);
}

bool isLeapYear(unsigned long long year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// The calendar, counted year by year and month by month.
std::wstring modelStamp(unsigned long long milliseconds)
{
    unsigned long long day = milliseconds / 86400000;
    unsigned long long year = 1970;
    for (; day >= (isLeapYear(year) ? 366U : 365U); ++year) {
        day -= isLeapYear(year) ? 366U : 365U;
    }
    const unsigned int lengths[] = {
        31, isLeapYear(year) ? 29U : 28U, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    unsigned int month = 0;
    for (; day >= lengths[month]; ++month) {
        day -= lengths[month];
    }
    return stampOf(year, month + 1, static_cast<unsigned int>(day) + 1, milliseconds);
}

/// Every piece of a format, and what the C library makes of it.
struct formatted
{
    std::wstring format;
    std::wstring text;
};

formatted chosenFormat(fuzz::choices& input, unsigned long long milliseconds, const std::tm& fields)
{
    static constexpr const wchar_t* pieces[] = {
        L"%u", L"%Y", L"%m", L"%d", L"%H", L"%M", L"%S", L"%y", L"%j", L"%p",
        L"%a", L"%B", L"%%", L" ",  L"x",  L"-",  L"%A", L"%u", L"%I", L"long text "};
    constexpr std::size_t mostPieces = 40;
    formatted made;
    for (std::size_t count = 1 + input.below(mostPieces); count != 0; --count) {
        const std::wstring piece = input.of(pieces);
        wchar_t text[64] = {};
        std::wcsftime(text, sizeof text / sizeof *text, piece.c_str(), &fields);
        made.format += piece;
        made.text += piece == L"%u" ? padded(milliseconds % 1000, 3) : text;
    }
    return made;
}

/// Years that all platforms' calendars have, since 1970.
constexpr unsigned long long commonMilliseconds = 1000ULL * 365 * 86400000;

void checkFormat(fuzz::choices& input, unsigned long long milliseconds)
{
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    const std::tm fields = *std::gmtime(&seconds);
    const formatted expected = chosenFormat(input, milliseconds, fields);
    fuzz::checkText(std::wstring(formatTime(milliseconds, expected.format.c_str()).c_str()),
                    expected.text, "formatted time");
}

/// Behind the year 9999, where the line's stamp is longer. What the platform's calendar does not
/// have is shown as a date all the same.
void checkRare(const std::wstring& found, unsigned long long milliseconds)
{
    std::tm fields = {};
    if (tolvane::Clock::calendar(milliseconds / 1000, fields)) {
        const auto year = static_cast<unsigned long long>(fields.tm_year + 1900LL);
        fuzz::checkText(found,
                        stampOf(year, static_cast<unsigned int>(fields.tm_mon) + 1,
                                static_cast<unsigned int>(fields.tm_mday), milliseconds),
                        "rare stamp");
    } else {
        fuzz::check(found.size() == modelStamp(0).size(), "the length of a stamp beyond all dates");
    }
}

/// About the first of March of a century's first year, some of which have no leap day before it.
unsigned long long chosenLeap(fuzz::choices& input)
{
    constexpr unsigned long long marchOf2000 = 11017; // days
    constexpr unsigned long long daysOfCentury = 36524;
    const unsigned long long centuries = input.below(82);
    const unsigned long long march = marchOf2000 + centuries * daysOfCentury + centuries / 4;
    return (march - input.below(3)) * 86400000;
}

/// Mostly near the one before: in the same second, at the next midnight, in another year.
unsigned long long chosenTime(fuzz::choices& input, unsigned long long before)
{
    constexpr unsigned long long day = 86400000;
    switch (input.below(7)) {
    case 0:
        return before + input.byte();
    case 1:
        return before - input.byte();
    case 2:
        return (before / day + 1) * day - 1 + input.below(3);
    case 3:
        return before + day * (1 + input.below(400));
    case 4:
        return input.number();
    case 5:
        return chosenLeap(input);
    default:
        return before + 365 * day * input.below(1000) + input.number() % day;
    }
}

} // namespace

void fuzz::timestamps(choices& input)
{
    constexpr unsigned long long endOfYear9999 = 253402300800000;
    timestamp stamp; // keeps the last second
    unsigned long long time = 0;
    while (!input.empty()) {
        time = chosenTime(input, time);
        const std::wstring found(stamp.show(time));
        if (time >= endOfYear9999) {
            checkRare(found, time);
            continue;
        }
        checkText(found, modelStamp(time), "stamp");
        if (time < commonMilliseconds) {
            checkText(std::wstring(formatTime(time, tolvane::string()).c_str()), modelStamp(time),
                      "time in the usual format");
            checkFormat(input, time);
        }
    }
}
