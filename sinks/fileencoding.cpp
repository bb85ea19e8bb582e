#include "sinks/fileencoding.h"

#include <algorithm>
#include <cwchar>

namespace {

using facet_t = std::codecvt<wchar_t, char, std::mbstate_t>;

/// Large enough for any facet's longest character, so that a conversion without progress means that
/// it has failed.
constexpr std::size_t chunkSize = 256;

/// Appends the conversion of a text, up to the first character that does not convert.
void appendConverted(std::string& bytes, const wchar_t* text, const wchar_t* end,
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
            return;
        }
    }
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

std::string withCarriageReturns(const std::string& bytes)
{
    std::string lines;
    lines.reserve(bytes.size() + 1);
    for (const char byte : bytes) {
        if (byte == '\n') {
            lines += '\r';
        }
        lines += byte;
    }
    return lines;
}

} // namespace

std::string encodeLine(const tolvane::string& text, const std::locale& locale)
{
    const auto& facet = std::use_facet<facet_t>(locale);
    const wchar_t lineEnd = std::use_facet<std::ctype<wchar_t>>(locale).widen('\n');
    std::string bytes;
    std::mbstate_t state = {};
    appendConverted(bytes, text.c_str(), text.c_str() + text.length(), facet, state);
    state = {}; // the line end follows also where the text failed to convert
    const std::size_t textBytes = bytes.size();
    appendConverted(bytes, &lineEnd, &lineEnd + 1, facet, state);
    appendUnshift(bytes, facet, state);
    if (bytes.size() == textBytes) {
        bytes += '\n';
    }
    return withCarriageReturns(bytes);
}

std::string encodeFilename(const tolvane::string& filename)
{
    const std::string name = filename.narrow();
    const wchar_t* const wide = filename.c_str();
    const auto questionMarks = std::count(wide, wide + filename.length(), L'?');
    return std::count(name.begin(), name.end(), '?') == questionMarks ? name : std::string();
}
