#include "sinks/jsonline.h"

#include "support/hexdigits.h"
#include "support/levelnames.h"
#include "support/utf8.h"
#include "support/view.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr long long nanosecondsPerMillisecond = 1000000;
constexpr long long millisecondsPerMinute = 60000;
constexpr long long minutesPerHour = 60;
constexpr long long minutesPerDay = 24 * minutesPerHour;

void appendDigits(std::string& bytes, long long number, std::size_t digits)
{
    const std::string shown = std::to_string(number);
    bytes.append(digits - std::min(digits, shown.size()), '0').append(shown);
}

/// What a byte is in a string's place, unless it is itself.
std::string_view escapeOf(char byte) noexcept
{
    switch (byte) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return {};
    }
}

bool isPlain(char byte) noexcept
{
    constexpr unsigned char firstPrintable = 0x20;
    return static_cast<unsigned char>(byte) >= firstPrintable && byte != '"' && byte != '\\';
}

void appendEscaped(std::string& bytes, char byte)
{
    const std::string_view escape = escapeOf(byte);
    if (!escape.empty()) {
        bytes.append(escape);
    } else if (isPlain(byte)) {
        bytes += byte;
    } else {
        const auto code = static_cast<unsigned char>(byte);
        bytes.append("\\u00");
        bytes += tolvane::hexDigit(code >> 4);
        bytes += tolvane::hexDigit(code);
    }
}

/// Most texts are plain.
void appendString(std::string& bytes, const tolvane::string& text)
{
    bytes += '"';
    const auto start = static_cast<std::ptrdiff_t>(bytes.size());
    tolvane::utf8::appendNarrow(bytes, view(text));
    const auto plainEnd = std::find_if_not(bytes.begin() + start, bytes.end(), isPlain);
    const std::string rest(plainEnd, bytes.end());
    bytes.erase(plainEnd, bytes.end());
    for (const char byte : rest) {
        appendEscaped(bytes, byte);
    }
    bytes += '"';
}

void appendZone(std::string& bytes, long long minutes)
{
    if (minutes == 0) {
        bytes += 'Z';
        return;
    }
    bytes += minutes < 0 ? '-' : '+';
    minutes = minutes < 0 ? -minutes : minutes;
    appendDigits(bytes, minutes / minutesPerHour, 2);
    bytes += ':';
    appendDigits(bytes, minutes % minutesPerHour, 2);
}

/// Without the zone a time would be in UTC.
void appendTime(std::string& bytes, long long utc, unsigned long long local, timestamp& stamp)
{
    const long long moment = std::max(utc, 0LL);
    const long long milliseconds = moment / nanosecondsPerMillisecond;
    const long long ahead = static_cast<long long>(local) - milliseconds;
    const long long minutes = ahead / millisecondsPerMinute;
    const bool hasZone =
        ahead % millisecondsPerMinute == 0 && minutes > -minutesPerDay && minutes < minutesPerDay;
    for (const wchar_t character :
         stamp.show(hasZone ? local : static_cast<unsigned long long>(milliseconds))) {
        bytes += character == L' ' ? 'T' : static_cast<char>(character);
    }
    appendDigits(bytes, moment % nanosecondsPerMillisecond, 6);
    appendZone(bytes, hasZone ? minutes : 0);
}

const char* kindOf(formattedline::type_t type) noexcept
{
    return type == formattedline::tt_starting  ? "start"
           : type == formattedline::tt_exiting ? "exit"
                                               : "text";
}

} // namespace

void appendJsonLine(std::string& bytes, const formattedline& line,
                    unsigned long long localMilliseconds, timestamp& stamp)
{
    bytes += R"({"time":")";
    appendTime(bytes, line.time(), localMilliseconds, stamp);
    bytes.append(R"(","level":")").append(tolvane::nameOf(line.level()).word);
    bytes.append(R"(","thread":)").append(std::to_string(line.threadid()));
    if (!line.threadName().empty()) {
        bytes += R"(,"name":)";
        appendString(bytes, line.threadName());
    }
    bytes += R"(,"function":)";
    appendString(bytes, line.function());
    bytes.append(R"(,"kind":")").append(kindOf(line.type())).append(R"(","text":)");
    appendString(bytes, line.text());
    bytes += "}\n";
}
