#include "sinks/timestamp.h"

#include "support/clock.h"

#include <ctime>
#include <cwchar>
#include <string>

namespace {

constexpr const wchar_t* defaultFormat = L"%Y-%m-%d %H:%M:%S.%u";
constexpr const wchar_t* millisecondsMark = L"%u";
constexpr std::size_t markLength = 2;

/// No stamp is as long as that: a part that still does not fit is one that the runtime refuses to
/// render.
constexpr std::size_t longestPart = 65536;

/// Appends a part of the format, rendered. wcsftime answers 0 both for a buffer that is too small
/// and for an empty result; a blank behind the part, cut off again, tells them apart. Some runtimes
/// fill a buffer that is too small, and answer its size.
void appendRendered(std::wstring& result, const std::wstring& part, const std::tm& fields)
{
    if (part.empty()) {
        return;
    }
    const std::wstring guarded = part + L' ';
    for (std::size_t size = guarded.size() * 2;; size *= 2) {
        std::wstring buffer(size, L'\0');
        const std::size_t written = std::wcsftime(buffer.data(), size, guarded.c_str(), &fields);
        const bool isWhole = written != 0 && written != size;
        if (isWhole) {
            result.append(buffer, 0, written - 1);
        }
        if (isWhole || size >= longestPart) {
            return;
        }
    }
}

std::wstring threeDigits(unsigned long long milliseconds)
{
    const std::wstring digits = std::to_wstring(milliseconds);
    return std::wstring(3 - digits.size(), L'0') + digits;
}

struct date
{
    unsigned int year;
    unsigned int month;
    unsigned int day;
};

/// The Gregorian calendar, counted from 1 March 0000, so that a leap day is the last of its year:
/// 400 years have 146097 days, and five months from March on have 153.
date dateOf(unsigned long long daysSince1970)
{
    constexpr unsigned int daysTo1970 = 719468;
    constexpr unsigned int daysOf400Years = 146097;
    const auto days = static_cast<unsigned int>(daysSince1970) + daysTo1970;
    const unsigned int dayOfEra = days % daysOf400Years;
    const unsigned int yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / (daysOf400Years - 1)) / 365;
    const unsigned int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned int monthFromMarch = (5 * dayOfYear + 2) / 153;
    const unsigned int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const unsigned int year = yearOfEra + days / daysOf400Years * 400 + (month <= 2 ? 1 : 0);
    return {year, month, dayOfYear - (153 * monthFromMarch + 2) / 5 + 1};
}

void writeDigits(wchar_t*& to, unsigned int number, int digits, wchar_t behind)
{
    for (int place = digits - 1; place >= 0; --place) {
        to[place] = static_cast<wchar_t>(L'0' + number % 10);
        number /= 10;
    }
    to[digits] = behind;
    to += digits + 1;
}

constexpr unsigned long long secondsPerDay = 86400;
constexpr unsigned long long secondsBeyondYear9999 = 2932897 * secondsPerDay;

/// Where the milliseconds stand, behind the point.
constexpr std::size_t millisecondsPlace = 20;

} // namespace

std::wstring_view timestamp::show(unsigned long long milliseconds)
{
    const unsigned long long second = milliseconds / 1000;
    if (second >= secondsBeyondYear9999) {
        m_rare = formatTime(milliseconds, tolvane::string()).c_str();
        return m_rare;
    }
    if (second != m_second) {
        showSecond(second);
    }
    wchar_t* to = m_digits + millisecondsPlace;
    writeDigits(to, static_cast<unsigned int>(milliseconds % 1000), 3, L'\0');
    return {m_digits, usualLength};
}

void timestamp::showSecond(unsigned long long second)
{
    const date today = dateOf(second / secondsPerDay);
    const auto time = static_cast<unsigned int>(second % secondsPerDay);
    wchar_t* to = m_digits;
    writeDigits(to, today.year, 4, L'-');
    writeDigits(to, today.month, 2, L'-');
    writeDigits(to, today.day, 2, L' ');
    writeDigits(to, time / 3600, 2, L':');
    writeDigits(to, time / 60 % 60, 2, L':');
    writeDigits(to, time % 60, 2, L'.');
    m_second = second;
}

tolvane::string formatTime(const unsigned long long& milliseconds, tolvane::string format)
{
    const std::wstring pattern = format.empty() ? defaultFormat : format.c_str();
    std::tm fields = {};
    fields.tm_mday = 1; // a time beyond the calendar shows a valid date all the same
    tolvane::Clock::calendar(milliseconds / 1000, fields);

    std::wstring result;
    std::size_t start = 0;
    for (std::size_t mark = pattern.find(millisecondsMark); mark != std::wstring::npos;
         mark = pattern.find(millisecondsMark, start)) {
        appendRendered(result, pattern.substr(start, mark - start), fields);
        result += threeDigits(milliseconds % 1000);
        start = mark + markLength;
    }
    appendRendered(result, pattern.substr(start), fields);
    return result.c_str();
}
