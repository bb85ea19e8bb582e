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
/// and for an empty result; a blank behind the part, cut off again, tells them apart.
void appendRendered(std::wstring& result, const std::wstring& part, const std::tm& fields)
{
    if (part.empty()) {
        return;
    }
    const std::wstring guarded = part + L' ';
    std::wstring buffer(guarded.size() * 2, L'\0');
    std::size_t written = 0;
    while ((written = std::wcsftime(&buffer[0], buffer.size(), guarded.c_str(), &fields)) == 0 &&
           buffer.size() < longestPart) {
        buffer.resize(buffer.size() * 2);
    }
    if (written != 0) {
        result.append(buffer, 0, written - 1);
    }
}

std::wstring threeDigits(unsigned long long milliseconds)
{
    const std::wstring digits = std::to_wstring(milliseconds);
    return std::wstring(3 - digits.size(), L'0') + digits;
}

} // namespace

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
