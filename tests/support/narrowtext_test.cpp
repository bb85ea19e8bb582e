#include "support/narrowtext.h"

#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/utf8mode.h"

#include <catch2/catch.hpp>

#include <clocale>
#include <cstring>
#include <string>

namespace {

tolvane::string widened(const std::string& text)
{
    return tolvane::narrowtext::widened(text.data(), text.size());
}

} // namespace

TEST_CASE("characters that the locale does not know cost none of the others", "[support]")
{
    const localeguard guard;
    const multibytelocale locale;
    const std::wstring character = multibytelocale::character;

    CHECK(widened("a" + locale.bytes + "\xFF" + "b" + locale.bytes) ==
          L"a" + character + L"?b" + character);
    CHECK(widened("cut" + locale.bytes + locale.bytes.substr(0, 1)) == L"cut" + character + L"?");
    CHECK(widened("\xFF") == L"?");
}

TEST_CASE("text that the locale knows is as the C library has it", "[support]")
{
    const localeguard guard;
    const multibytelocale locale;
    for (const std::string& text : {std::string(), std::string("plain"), "x" + locale.bytes}) {
        CHECK(widened(text) == tolvane::string(text.c_str()));
    }
}

TEST_CASE("narrow text ends at its first NUL", "[support]")
{
    CHECK(widened(std::string("ab\0cd", 5)) == "ab");
    CHECK(tolvane::narrowtext::widened(nullptr, 0) == "");
}

TEST_CASE("narrow text is UTF-8 when the application says so, whatever the locale", "[support]")
{
    const localeguard guard;
    const utf8mode mode;
    for (const char* const name : {"C", "C.UTF-8", ".932"}) {
        std::setlocale(LC_ALL, name);
        CHECK(widened("gr\xC3\xB6\xC3\x9F"
                      "e \xE6\x97\xA5") == L"gr\u00F6\u00DFe \u65E5");
        CHECK(widened("a\xE6\x97"
                      "b\xFF") == L"a\uFFFDb\uFFFD");
    }
}

TEST_CASE("strings are made of UTF-8 and give it when the application says so", "[support]")
{
    const std::wstring smiley = L"\U0001F600";
    const utf8mode mode;

    CHECK(tolvane::string("\xEF\xBB\xBFgr\xC3\xB6\xC3\x9F"
                          "e") == L"\uFEFFgr\u00F6\u00DFe");
    CHECK(tolvane::string("\xF0\x9F\x98\x80") == smiley);
    CHECK(std::strcmp(tolvane::string(smiley).narrow(), "\xF0\x9F\x98\x80") == 0);
    CHECK(std::strcmp(tolvane::string(L"\xD800x").narrow(), "\xEF\xBF\xBDx") == 0);
    CHECK(tolvane::string("") == "");
    CHECK(std::strcmp(tolvane::string().narrow(), "") == 0);
}
