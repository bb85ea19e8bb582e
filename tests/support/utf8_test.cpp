#include "support/utf8.h"

#include <catch2/catch.hpp>

#include <string>
#include <string_view>

namespace {

std::wstring wide(std::string_view text)
{
    std::wstring result;
    tolvane::utf8::appendWide(result, text);
    return result;
}

std::string narrow(std::wstring_view text)
{
    std::string result;
    tolvane::utf8::appendNarrow(result, text);
    return result;
}

/// Each ill-formed part as a question mark.
std::string marked(std::string_view text)
{
    std::string result;
    for (const wchar_t unit : wide(text)) {
        result += unit == 0xFFFD ? '?' : static_cast<char>(unit);
    }
    return result;
}

/// A character as the platform's wide text.
std::wstring asWide(char32_t character)
{
    if (sizeof(wchar_t) > 2 || character < 0x10000) {
        return {static_cast<wchar_t>(character)};
    }
    return {static_cast<wchar_t>(0xD7C0 + (character >> 10)),
            static_cast<wchar_t>(0xDC00 + (character & 0x3FF))};
}

} // namespace

TEST_CASE("text in UTF-8 is what it says, and the same when it is written again", "[support]")
{
    constexpr const char* text = "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                                 "\xF4\x8F\xBF\xBF";

    CHECK(wide(text) == L"a\x7F\x80\x7FF\x800\xFFFF" + asWide(0x10000) + asWide(0x10FFFF));
    CHECK(narrow(wide(text)) == text);
    CHECK(wide("").empty());
    CHECK(narrow(L"").empty());
}

TEST_CASE("every character comes back from UTF-8", "[support]")
{
    std::wstring all;
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        if (character < 0xD800 || character > 0xDFFF) {
            all += asWide(character);
        }
    }

    const std::string text = narrow(all);

    CHECK(text.size() == 0x80 + 0x780 * 2 + (0xF800 - 0x800) * 3 + 0x100000 * 4);
    CHECK((wide(text) == all));
}

TEST_CASE("what is appended leaves what is there", "[support]")
{
    std::wstring wideText = L"a";
    std::string narrowText = "b";

    tolvane::utf8::appendWide(wideText, "c");
    tolvane::utf8::appendNarrow(narrowText, L"d");

    CHECK(wideText == L"ac");
    CHECK(narrowText == "bd");
}

TEST_CASE("NUL and a byte-order mark are characters like any other", "[support]")
{
    using namespace std::string_view_literals;

    CHECK(wide("a\0b\xEF\xBB\xBF"sv) == L"a\0b\xFEFF"sv);
    CHECK(narrow(L"\xFEFF\0"sv) == "\xEF\xBB\xBF\0"sv);
}

TEST_CASE("each longest start of a character that goes wrong is one mark", "[support]")
{
    // bytes that are in no text, and bytes of the middle by themselves
    CHECK(marked("a\x80z") == "a?z");
    CHECK(marked("\xC0\xAF\xE0\x80\xBF\xF0\x81\x82z") == "????????z");
    CHECK(marked("\xF5\x80\xFE\xFFz") == "????z");
    CHECK(marked("\xC1\xBFz") == "??z");

    // surrogates, and what is beyond Unicode
    CHECK(marked("\xED\xA0\x80\xED\xBF\xBFz") == "??????z");
    CHECK(marked("\xF4\x90\x80\x80z") == "????z");

    // cut short by another character, or by the end
    CHECK(marked("\xE1\x80\xE2\xF0\x91\x92\xF1\xBFz") == "????z");
    CHECK(marked("\xF0\x90\x80z") == "?z");
    CHECK(marked("\xC3") == "?");
    CHECK(marked("\xE2\x82") == "?");
    CHECK(marked("\xF0\x9F\x98") == "?");
    CHECK(marked("\xE2\xC3") == "??");
}

TEST_CASE("a lone surrogate is one mark", "[support]")
{
    const std::string mark = "\xEF\xBF\xBD";
    const auto high = static_cast<wchar_t>(0xD83D);
    const auto low = static_cast<wchar_t>(0xDE00);

    CHECK(narrow(std::wstring{high}) == mark);
    CHECK(narrow(std::wstring{low}) == mark);
    CHECK(narrow(std::wstring{high, L'z'}) == mark + "z");
    CHECK(narrow(std::wstring{low, high}) == mark + mark);
    CHECK(narrow(std::wstring{high, low}) ==
          (sizeof(wchar_t) == 2 ? "\xF0\x9F\x98\x80" : mark + mark));
    CHECK(narrow(std::wstring{high, high, low}) ==
          mark + (sizeof(wchar_t) == 2 ? "\xF0\x9F\x98\x80" : mark + mark));
}

TEST_CASE("a wide unit beyond Unicode is one mark", "[support]")
{
    if (sizeof(wchar_t) > 2) {
        for (const unsigned int unit : {0x110000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            CHECK(narrow(std::wstring{L'a', static_cast<wchar_t>(unit), L'z'}) == "a\xEF\xBF\xBDz");
        }
    }
}

TEST_CASE("bytes that are no UTF-8 come back from wide text that keeps them", "[support]")
{
    std::string text;
    for (int first = 1; first <= 0xFF; ++first) {
        for (const char* const behind : {"a", "\x80", "\x80\x80", "\xBF\xBF\xBF", "\xC3", ""}) {
            text += static_cast<char>(first) + std::string(behind);
        }
    }
    text += "gr\xC3\xB6\xC3\x9F"
            "e \xED\xB3\xBF \xF0\x90\x80";

    std::wstring kept;
    tolvane::utf8::appendWideWithBytes(kept, text);
    std::string back;
    tolvane::utf8::appendBytes(back, kept);

    CHECK(back == text);
}

TEST_CASE("wide text that keeps bytes is that of UTF-8 otherwise", "[support]")
{
    std::wstring kept;
    tolvane::utf8::appendWideWithBytes(kept, "a\xC3\xB6\xF6\xEF\xBF\xBD");
    std::string bytes;
    tolvane::utf8::appendBytes(bytes, {L"\xD801 \xDC7F \xDD00 \xFFFD"});

    CHECK(kept == L"a\xF6\xDCF6\xFFFD");
    CHECK(bytes == narrow(L"\xFFFD \xFFFD \xFFFD \xFFFD"));
}
