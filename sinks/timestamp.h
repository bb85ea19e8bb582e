#pragma once

#include <tolvane/string.h>

#include <string>
#include <string_view>

/// Renders a time by a strftime-like format, in which "%u" stands for the three digits of the
/// millisecond. \param milliseconds  since 1970, shown as they are, without any time zone. \param
/// format        empty: "%Y-%m-%d %H:%M:%S.%u". Other specifiers are those of wcsftime.
tolvane::string formatTime(const unsigned long long& milliseconds, tolvane::string format);

/// A time in the format of the lines: formatTime with an empty format, but without the calendar of
/// the C library.
class timestamp
{
public:
    explicit timestamp(unsigned long long milliseconds);

    timestamp(const timestamp&) = delete;
    timestamp& operator=(const timestamp&) = delete;

    std::wstring_view text() const noexcept { return m_text; }

private:
    static constexpr std::size_t usualLength = 23; ///< of "2024-03-05 14:07:09.045"

    wchar_t m_digits[usualLength + 1];
    std::wstring m_rare;      ///< for years of more than four digits
    std::wstring_view m_text; ///< in one of the two
};
