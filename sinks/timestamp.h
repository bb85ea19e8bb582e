#pragma once

#include <tolvane/string.h>

#include <string>
#include <string_view>

/// Renders a time by a strftime-like format, in which "%u" stands for the three digits of the
/// millisecond.
///
/// \param milliseconds  since 1970, shown as they are, without any time zone.
/// \param format        empty: "%Y-%m-%d %H:%M:%S.%u". Other specifiers are those of wcsftime.
tolvane::string formatTime(const unsigned long long& milliseconds, tolvane::string format);

/// Shows times in the format of the lines: formatTime with an empty format, but without the
/// calendar of the C library, and quickly for times in the same second as the last one.
class timestamp
{
public:
    timestamp() = default;
    timestamp(const timestamp&) = delete;
    timestamp& operator=(const timestamp&) = delete;

    /// \return the time's text, valid until the next call.
    std::wstring_view show(unsigned long long milliseconds);

private:
    static constexpr std::size_t usualLength = 23; ///< of "2024-03-05 14:07:09.045"
    static constexpr unsigned long long noSecond = ~0ULL;

    void showSecond(unsigned long long second);

    unsigned long long m_second = noSecond; ///< that the digits show
    wchar_t m_digits[usualLength + 1];
    std::wstring m_rare; ///< for years of more than four digits
};
