#include "sinks/fileencoding.h"

#include "tests/helpers/utf8facet.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

using facet = std::codecvt<wchar_t, char, std::mbstate_t>;

std::string encoded(const std::wstring& text, const std::locale& locale)
{
    std::string bytes;
    appendEncodedLine(bytes, tolvane::string(text.c_str()), locale);
    return bytes;
}

std::string encoded(const std::wstring& text)
{
    return encoded(text, std::locale::classic());
}

std::locale localeWith(facet* own)
{
    return std::locale(std::locale::classic(), own);
}

/// An encoding with a shift state: "<" goes before a run of capitals, ">" behind it. "#" does not
/// convert.
class shiftingfacet : public facet
{
protected:
    result do_out(std::mbstate_t& state, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override
    {
        for (fromNext = from, toNext = to; fromNext != fromEnd; ++fromNext) {
            if (*fromNext == L'#') {
                return error;
            }
            if (toEnd - toNext < 2) {
                return partial;
            }
            const bool capital = *fromNext >= L'A' && *fromNext <= L'Z';
            if (capital != isShifted(state)) {
                *toNext++ = capital ? '<' : '>';
                shift(state, capital);
            }
            *toNext++ = static_cast<char>(*fromNext);
        }
        return ok;
    }

    result do_unshift(std::mbstate_t& state, char* to, char*, char*& toNext) const override
    {
        toNext = to;
        if (isShifted(state)) {
            *toNext++ = '>';
            shift(state, false);
        }
        return ok;
    }

    bool do_always_noconv() const noexcept override { return false; }
    int do_encoding() const noexcept override { return -1; }

private:
    static bool isShifted(const std::mbstate_t& state)
    {
        char first = 0;
        std::memcpy(&first, &state, 1);
        return first != 0;
    }

    static void shift(std::mbstate_t& state, bool shifted)
    {
        const char first = shifted ? 1 : 0;
        std::memcpy(&state, &first, 1);
    }
};

/// Converts nothing and says so in one way or another.
class refusingfacet : public facet
{
public:
    explicit refusingfacet(result answer) : m_answer(answer) {}

protected:
    result do_out(std::mbstate_t&, const wchar_t* from, const wchar_t*, const wchar_t*& fromNext,
                  char* to, char*, char*& toNext) const override
    {
        fromNext = from;
        toNext = to;
        return m_answer;
    }

private:
    result m_answer;
};

} // namespace

TEST_CASE("a line in a file ends with carriage return and line feed", "[sinks]")
{
    CHECK(encoded(L"text") == "text\r\n");
    CHECK(encoded(L"") == "\r\n");
}

TEST_CASE("with line feeds alone nothing is added to those of a text", "[sinks][lineend]")
{
    std::string bytes = "before\n";
    for (const wchar_t* const text : {L"abc", L"a\nb\r\nc\n", L"", L"gr\u65e5er"}) {
        appendEncodedLine(bytes, text, std::locale::classic(), tolvane::lineend::lf);
    }
    CHECK(bytes == "before\nabc\na\nb\r\nc\n\n\ngr\n");
}

TEST_CASE("each line feed within a text gets a carriage return", "[sinks]")
{
    CHECK(encoded(L"a\nb") == "a\r\nb\r\n");
    CHECK(encoded(L"\n\n") == "\r\n\r\n\r\n");
    CHECK(encoded(L"a\r\nb") == "a\r\r\nb\r\n");
    CHECK(encoded(L"a\rb") == "a\rb\r\n");
}

TEST_CASE("a line is appended to what is there, which stays as it is", "[sinks]")
{
    for (const std::wstring text : {L"plain", L"a\nb", L"\u0416"}) {
        std::string bytes = "before\n";

        appendEncodedLine(bytes, tolvane::string(text.c_str()), std::locale::classic());

        CHECK(bytes == "before\n" + encoded(text));
    }
}

TEST_CASE("a text stops at the first character that does not convert, its line end follows",
          "[sinks]")
{
    CHECK(encoded(L"ab\u0416cd") == "ab\r\n");
    CHECK(encoded(L"\u0416") == "\r\n");
    CHECK(encoded(std::wstring(1000, L'x') + L"\u0416" + std::wstring(1000, L'y')) ==
          std::string(1000, 'x') + "\r\n");
}

TEST_CASE("bytes come from the locale's conversion facet", "[sinks]")
{
    CHECK(encoded(L"\u00E4 \u0416 \u20AC", utf8locale()) == "\xC3\xA4 \xD0\x96 \xE2\x82\xAC\r\n");
    CHECK(encoded(L"\U0001F600", utf8locale()) == "\xF0\x9F\x98\x80\r\n");
}

TEST_CASE("a facet's own limits stop the text, the line end follows", "[sinks]")
{
    CHECK(encoded(L"ab\u0416\u0800cd", limitedlocale()) == "ab\xD0\x96\r\n");
    CHECK(encoded(L"\u0800", limitedlocale()) == "\r\n");
}

TEST_CASE("half of a surrogate pair at the end of a text does not cost the line end", "[sinks]")
{
    const std::wstring half(1, wchar_t(0xD83D));

    const std::string bytes = encoded(L"ab" + half, utf8locale());

    CHECK(bytes.substr(0, 2) == "ab");
    CHECK(bytes.substr(bytes.size() - 2) == "\r\n");
    CHECK(std::count(bytes.begin(), bytes.end(), '\n') == 1);
}

TEST_CASE("texts of any length are converted whole, wherever a character of several bytes lies",
          "[sinks]")
{
    for (std::size_t before = 250; before < 260; ++before) {
        const std::wstring text = std::wstring(before, L'x') + L"\u20AC" + std::wstring(600, L'y');
        const std::string expected =
            std::string(before, 'x') + "\xE2\x82\xAC" + std::string(600, 'y') + "\r\n";

        CHECK(encoded(text, utf8locale()) == expected);
    }
}

TEST_CASE("a facet with a shift state is left in its initial state at the line's end", "[sinks]")
{
    const std::locale shifting = localeWith(new shiftingfacet);

    CHECK(encoded(L"abCDe", shifting) == "ab<CD>e\r\n");
    CHECK(encoded(L"abCD", shifting) == "ab<CD>\r\n");
    CHECK(encoded(L"AB\nCD", shifting) == "<AB>\r\n<CD>\r\n");
    CHECK(encoded(L"AB#CD", shifting) == "<AB>\r\n");
}

TEST_CASE("a facet that converts nothing at all leaves the line end", "[sinks]")
{
    for (const facet::result answer : {facet::error, facet::partial, facet::ok, facet::noconv}) {
        CHECK(encoded(L"text", localeWith(new refusingfacet(answer))) == "\r\n");
    }
}
