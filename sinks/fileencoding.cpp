#include "sinks/fileencoding.h"

#include "support/lineendbytes.h"
#include "support/narrowtext.h"
#include "support/utf8.h"

#include <algorithm>
#include <cwchar>
#include <string_view>

namespace {

using facet_t = std::codecvt<wchar_t, char, std::mbstate_t>;

/// Large enough for any facet's longest character, so that a conversion without progress means that
/// it has failed.
constexpr std::size_t chunkSize = 256;

/// Appends the conversion of a text, up to the first character that does not convert.
/// \return whether the whole text was converted.
bool appendConverted(std::string& bytes, const wchar_t* text, const wchar_t* end,
                     const facet_t& facet, std::mbstate_t& state)
{
    char chunk[chunkSize];
    while (text != end) {
        const wchar_t* textNext = text;
        char* chunkNext = chunk;
        const auto result =
            facet.out(state, text, end, textNext, chunk, chunk + chunkSize, chunkNext);
        bytes.append(chunk, chunkNext);
        const bool progress = textNext != text;
        text = textNext;
        if (result == facet_t::error || result == facet_t::noconv || !progress) {
            return false;
        }
    }
    return true;
}

/// Leaves the facet's shift state, for encodings that have one.
void appendUnshift(std::string& bytes, const facet_t& facet, std::mbstate_t& state)
{
    char chunk[chunkSize];
    char* chunkNext = chunk;
    if (facet.unshift(state, chunk, chunk + chunkSize, chunkNext) == facet_t::ok) {
        bytes.append(chunk, chunkNext);
    }
}

/// Makes every line feed from a position on carriage return and line feed, from the end on.
void addCarriageReturns(std::string& bytes, std::size_t start)
{
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(start);
    const auto added = static_cast<std::size_t>(std::count(first, bytes.end(), '\n'));
    std::size_t from = bytes.size();
    std::size_t to = from + added;
    bytes.resize(to);
    while (to != from) {
        const char byte = bytes[--from];
        bytes[--to] = byte;
        if (byte == '\n') {
            bytes[--to] = '\r';
        }
    }
}

/// Appends the text with its line end when it is of ASCII characters, which the classic locale
/// converts to themselves.
bool appendPlainLine(std::string& bytes, const tolvane::string& text, std::string_view lineEnd)
{
    constexpr wchar_t lastAscii = 0x7F;
    const std::size_t start = bytes.size();
    const auto length = static_cast<std::size_t>(text.length());
    const wchar_t* const characters = text.c_str();
    bytes.resize(start + length + lineEnd.size());
    char* const to = &bytes[start];
    unsigned int seen = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto character = static_cast<unsigned int>(characters[i]);
        seen |= character;
        to[i] = static_cast<char>(character);
    }
    std::copy(lineEnd.begin(), lineEnd.end(), to + length);
    if (seen > static_cast<unsigned int>(lastAscii) || std::wmemchr(characters, L'\n', length)) {
        bytes.resize(start);
        return false;
    }
    return true;
}

void appendInLocale(std::string& bytes, const tolvane::string& text, const std::locale& locale)
{
    const auto& facet = std::use_facet<facet_t>(locale);
    const wchar_t lineEnd = std::use_facet<std::ctype<wchar_t>>(locale).widen('\n');
    std::mbstate_t state = {};
    if (!appendConverted(bytes, text.c_str(), text.c_str() + text.length(), facet, state)) {
        appendUnshift(bytes, facet, state);
        state = {}; // the line end follows also where the text failed to convert
    }
    if (!appendConverted(bytes, &lineEnd, &lineEnd + 1, facet, state)) {
        bytes += '\n';
    }
    appendUnshift(bytes, facet, state);
}

} // namespace

void appendEncodedLine(std::string& bytes, const tolvane::string& text, const std::locale& locale,
                       tolvane::lineend end)
{
    if (locale == std::locale::classic() && appendPlainLine(bytes, text, tolvane::bytesOf(end))) {
        return;
    }
    const std::size_t start = bytes.size();
    if (tolvane::narrowtext::isUtf8()) {
        tolvane::utf8::appendNarrow(
            bytes, std::wstring_view(text.c_str(), static_cast<std::size_t>(text.length())));
        bytes += '\n';
    } else {
        appendInLocale(bytes, text, locale);
    }
    if (end == tolvane::lineend::crlf) {
        addCarriageReturns(bytes, start);
    }
}
