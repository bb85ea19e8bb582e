#pragma once

#include <tolvane/string.h>

/// Renders a time by a strftime-like format, in which "%u" stands for the three digits of the
/// millisecond. \param milliseconds  since 1970, shown as they are, without any time zone. \param
/// format        empty: "%Y-%m-%d %H:%M:%S.%u". Other specifiers are those of wcsftime.
tolvane::string formatTime(const unsigned long long& milliseconds, tolvane::string format);
