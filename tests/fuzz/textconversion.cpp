#include <tolvane/string.h>

#include "sinks/fileencoding.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/utf8facet.h"

#include <cstdlib>
#include <cwchar>
#include <locale>
#include <string>

namespace {

constexpr auto failed = static_cast<std::size_t>(-1);

bool isHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The next character: two units when they are a pair.
std::wstring characterAt(const std::wstring& text, std::size_t at)
{
    const bool isPair =
        isHighSurrogate(text[at]) && at + 1 < text.size() && isLowSurrogate(text[at + 1]);
    return text.substr(at, isPair ? 2 : 1);
}

/// Each character for itself; what does not convert is a question mark.
std::string modelNarrow(const std::wstring& text)
{
    std::string narrow;
    for (std::size_t at = 0; at < text.size();) {
        const std::wstring character = characterAt(text, at);
        char bytes[64] = {};
        const bool converts = std::wcstombs(bytes, character.c_str(), sizeof bytes) != failed;
        narrow += converts ? std::string(bytes) : std::string(character.size(), '?');
        at += character.size();
    }
    return narrow;
}

/// Question marks throughout, when a character does not convert.
std::wstring modelWide(const std::string& text)
{
    std::wstring wide;
    std::mbstate_t state = {};
    for (std::size_t at = 0; at < text.size();) {
        wchar_t character = 0;
        const std::size_t bytes =
            std::mbrtowc(&character, text.c_str() + at, text.size() - at, &state);
        if (bytes == 0 || bytes > text.size()) {
            return std::wstring(text.size(), L'?');
        }
        wide += character;
        at += bytes;
    }
    return wide;
}

/// Control characters by their numbers, a backslash twice.
std::wstring modelEscaped(const std::wstring& text)
{
    std::wstring escaped;
    for (const wchar_t character : text) {
        const bool isControl =
            (character > 0 && character < 0x20) || (character >= 0x7F && character <= 0x9F);
        if (isControl) {
            escaped += L"\\x";
            escaped += L"0123456789abcdef"[character / 16];
            escaped += L"0123456789abcdef"[character % 16];
        } else {
            escaped += character == L'\\' ? L"\\\\" : std::wstring(1, character);
        }
    }
    return escaped;
}

/// Each character for itself, up to the first that does not convert, and a line end.
std::string modelLine(const std::wstring& text, const std::locale& locale)
{
    using facet_t = std::codecvt<wchar_t, char, std::mbstate_t>;
    const auto& facet = std::use_facet<facet_t>(locale);
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::wstring character = characterAt(text, at);
        const wchar_t* const end = character.data() + character.size();
        const wchar_t* next = nullptr;
        char bytes[64];
        char* bytesEnd = nullptr;
        std::mbstate_t state = {};
        if (facet.out(state, character.data(), end, next, bytes, bytes + sizeof bytes, bytesEnd) !=
                facet_t::ok ||
            next != end) {
            line.append(bytes, bytesEnd); // of a pair that is two characters, the first may convert
            break;
        }
        const std::string converted(bytes, bytesEnd);
        line += converted == "\n" ? "\r\n" : converted;
        at += character.size();
    }
    return line + "\r\n";
}

/// Mostly what is at the edges of encodings.
std::wstring chosenWide(fuzz::choices& input)
{
    static constexpr unsigned long edges[] = {
        'a',    '\\',     '?',        '\n',       '\r',       0x7F,   0x80,   0xE4,
        0x7FF,  0x800,    0x3042,     0xD7FF,     0xD800,     0xDBFF, 0xDC00, 0xDFFF,
        0xE000, 0xFFFD,   0xFFFE,     0xFFFF,     0xFEFF,     0x10FF, 0xFF61, 0xD83D,
        0xDE00, 0x10000,  0x1F600,    0x10FFFF,   0x20AC,     0x1B,   0x9B,   0x1,
        0x2028, 0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE,
    };
    constexpr std::size_t manyTimes = 300; // beyond what is converted at a time
    std::wstring text;
    for (std::size_t count = input.below(40); count != 0; --count) {
        const auto unit = static_cast<wchar_t>(input.of(edges));
        const std::size_t times = input.below(40) == 39 ? manyTimes : 1;
        text.append(unit == 0 ? 0 : times, unit);
    }
    return text;
}

/// Sequences of UTF-8, whole and broken, or bytes as they come.
std::string chosenNarrow(fuzz::choices& input)
{
    static constexpr const char* pieces[] = {
        "a",
        "?",
        "\n",
        "\xC3\xA4",
        "\xE3\x81\x82",
        "\xF0\x9F\x98\x80",
        "\xC3",
        "\x80",
        "\xE3\x81",
        "\xC0\x80",
        "\xED\xA0\x80",
        "\xF4\x90\x80\x80",
        "\xFF",
        "\x82\xA0",
        "\x81",
        "\xEF\xBF\xBF",
        "\xF0\x9F",
        "0123456789abcdef",
        "\xE0\x80",
        "\xA0",
        "\xEF\xBB\xBF",
        "\xF8\x88\x80\x80\x80",
    };
    if (input.truth()) {
        const std::string bytes = input.bytes(100);
        return bytes.substr(0, bytes.find('\0'));
    }
    std::string text;
    for (std::size_t count = input.below(30); count != 0; --count) {
        text += input.of(pieces);
    }
    return text;
}

std::wstring wide(const tolvane::string& text)
{
    return {text.c_str(), static_cast<std::size_t>(text.length())};
}

void checkBothWays(fuzz::choices& input)
{
    const std::string narrow = chosenNarrow(input);
    const std::wstring text = chosenWide(input);
    tolvane::string converted(text.c_str());

    fuzz::checkText(wide(tolvane::escaped(converted)), modelEscaped(text), "escaped text");
    fuzz::checkText(std::string(converted.narrow()), modelNarrow(text), "narrow text");
    fuzz::checkText(wide(narrow.c_str()), modelWide(narrow), "wide text");
    fuzz::checkText(wide(converted.assign(narrow.c_str())), modelWide(narrow), "assigned text");
    fuzz::checkText(std::string(converted.narrow()), modelNarrow(modelWide(narrow)),
                    "there and back");
}

void checkLines(fuzz::choices& input)
{
    static const std::locale locales[] = {std::locale::classic(), utf8locale(), limitedlocale()};
    const std::locale& locale = input.of(locales);
    std::string bytes;
    std::string expected;
    for (std::size_t lines = 1 + input.below(3); lines != 0; --lines) {
        const std::wstring text = chosenWide(input);
        appendEncodedLine(bytes, text.c_str(), locale);
        expected += modelLine(text, locale);
    }
    fuzz::checkText(bytes, expected, "encoded lines");
}

} // namespace

void fuzz::textconversion(choices& input)
{
    const localeguard guard;
    if (input.truth()) {
        const multibytelocale locale;
    } else {
        std::setlocale(LC_ALL, "C");
    }
    while (!input.empty()) {
        if (input.truth()) {
            checkLines(input);
        } else {
            checkBothWays(input);
        }
    }
}
