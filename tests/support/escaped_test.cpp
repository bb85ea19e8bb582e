#include <tolvane/string.h>

#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <new>
#include <string>

namespace {

std::wstring escaped(const std::wstring& text)
{
    const tolvane::string safe = tolvane::escaped(text.c_str());
    return std::wstring(safe.c_str(), static_cast<std::size_t>(safe.length()));
}

} // namespace

TEST_CASE("a text without control characters and backslashes is safe as it is", "[support]")
{
    for (const wchar_t* const text :
         {L"", L"text", L" !\"#[]^_`{|}~", L"eight letters and more", L"\u00a0\u00e4\u0416\u20ac",
          L"\U0001F600", L"\u2028", L"%s %n"}) {
        CHECK(escaped(text) == text);
    }
}

TEST_CASE("each control character is shown by two hexadecimal digits, and no other one",
          "[support]")
{
    const wchar_t* const digits = L"0123456789abcdef";
    for (int code = 1; code < 0x180; ++code) {
        CAPTURE(code);
        const auto character = static_cast<wchar_t>(code);
        const bool isControl = code < 0x20 || (code >= 0x7f && code < 0xa0);
        const std::wstring shown =
            isControl            ? std::wstring(L"\\x") + digits[code / 16] + digits[code % 16]
            : character == L'\\' ? L"\\\\"
                                 : std::wstring(1, character);

        CHECK(escaped(std::wstring(1, character)) == shown);
        CHECK(escaped(std::wstring(L"before") + character + L"behind") ==
              L"before" + shown + L"behind");
    }
}

TEST_CASE("what would end a line or command a terminal stays on the line as text", "[support]")
{
    CHECK(escaped(L"one\r\n[forged]: line") == L"one\\x0d\\x0a[forged]: line");
    CHECK(escaped(L"\x1b[2J") == L"\\x1b[2J");
    CHECK(escaped(L"\x9b"
                  L"2J") == L"\\x9b2J");
    CHECK(escaped(L"tab\there") == L"tab\\x09here");
}

TEST_CASE("different texts are shown differently", "[support]")
{
    CHECK(escaped(L"\x1b") == L"\\x1b");
    CHECK(escaped(L"\\x1b") == L"\\\\x1b");
    CHECK(escaped(L"\\\\x1b") == L"\\\\\\\\x1b");
}

TEST_CASE("an embedded zero is a control character, too", "[support]")
{
    tolvane::string text;
    wchar_t* const characters = text.overwrite(3);
    characters[0] = L'a';
    characters[1] = 0;
    characters[2] = L'b';

    CHECK(std::wstring(tolvane::escaped(text).c_str()) == L"a\\x00b");
}

TEST_CASE("half of a surrogate pair and characters beyond all sets stay", "[support]")
{
    const std::wstring strange = {L'a', wchar_t(0xD83D), L'b', wchar_t(0xFFFF), wchar_t(-1)};

    CHECK(escaped(strange) == strange);
}

TEST_CASE("a text that was made safe before is made safe once more", "[support]")
{
    const tolvane::string text = L"a\n";

    CHECK(escaped(tolvane::escaped(text).c_str()) == L"a\\\\x0a");
    CHECK(text.length() == 2);
}

TEST_CASE("without memory no safe form is made", "[support]")
{
    const tolvane::string text = L"long enough for a buffer of its own";
    bool thrown = false;
    try {
        const allocations::failure failure;
        tolvane::escaped(text);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }

    CHECK(thrown);
}
