#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/traceobjecttest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>

// Numbers and narrow text take a shorter way than through the stream. Here they are compared with
// what a stream of the standard library makes of them.

namespace {

using preparation_t = std::function<void(std::wostream&)>;

void asItIs(std::wostream&) {}

const hashedfunction*& function()
{
    static const hashedfunction* registered = nullptr;
    return registered;
}

template <class value_t>
std::wstring written(const preparation_t& prepare, const value_t& value)
{
    traceobject scope(function(), "void f()");
    tolvane::tracedline line(scope, tl_info);
    prepare(scope);
    line << L"<" << value << L"|" << value << L">";
    return traceobjecttest::line(scope);
}

template <class value_t>
std::wstring expected(const preparation_t& prepare, const value_t& value)
{
    std::wostringstream stream;
    prepare(stream);
    stream << L"<" << value << L"|" << value << L">";
    return stream.str();
}

template <class value_t>
void checkSame(const preparation_t& prepare, const value_t& value)
{
    CHECK(written(prepare, value) == expected(prepare, value));
}

template <class number_t>
void checkNumbers(const preparation_t& prepare)
{
    using limits = std::numeric_limits<number_t>;
    for (const number_t number :
         {limits::min(), limits::max(), static_cast<number_t>(limits::max() / 10 * 10),
          static_cast<number_t>(-1), number_t(0), number_t(9), number_t(10), number_t(99),
          number_t(100), number_t(12345)}) {
        checkSame(prepare, number);
    }
}

void checkNumbersOfAllTypes(const preparation_t& prepare)
{
    checkNumbers<short>(prepare);
    checkNumbers<unsigned short>(prepare);
    checkNumbers<int>(prepare);
    checkNumbers<unsigned int>(prepare);
    checkNumbers<long>(prepare);
    checkNumbers<unsigned long>(prepare);
    checkNumbers<long long>(prepare);
    checkNumbers<unsigned long long>(prepare);
}

/// Writes numbers with a separator between groups of digits.
class grouping : public std::numpunct<wchar_t>
{
public:
    explicit grouping(char digits = 3) : m_digits(1, digits) {}

private:
    wchar_t do_thousands_sep() const override { return L'\''; }
    std::string do_grouping() const override { return m_digits; }

    std::string m_digits;
};

/// Has digits that are no ASCII characters.
class widedigits : public std::ctype<wchar_t>
{
    wchar_t do_widen(char character) const override
    {
        constexpr wchar_t wideZero = 0xFF10;
        return character >= '0' && character <= '9'
                   ? static_cast<wchar_t>(wideZero + (character - '0'))
                   : ctype::do_widen(character);
    }

    const char* do_widen(const char* from, const char* end, wchar_t* to) const override
    {
        std::transform(from, end, to, [this](char character) { return do_widen(character); });
        return end;
    }
};

/// Writes every number as the same word.
class wordwriter : public std::num_put<wchar_t>
{
    iter_type do_put(iter_type to, std::ios_base&, char_type, long) const override
    {
        for (const wchar_t character : std::wstring(L"word")) {
            *to++ = character;
        }
        return to;
    }
};

/// Of a process in which no scope was opened before: what is found out about the locale then is
/// kept.
template <class facet_t>
void checkNumbersOfFirstScope(facet_t* facet)
{
    const localeguard guard(std::locale(std::locale::classic(), facet));
    checkNumbersOfAllTypes(asItIs);
}

/// Takes text in a way of its own.
class shouting : public traceobject
{
public:
    shouting() : traceobject(function(), "void f()") {}

private:
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override
    {
        for (std::streamsize i = 0; i < count; ++i) {
            traceobject::xsputn(L"!", 1);
            traceobject::xsputn(text + i, 1);
        }
        return count;
    }
};

/// Counts how often a stream is flushed.
class flushcounter : public std::wstreambuf
{
public:
    int flushed = 0;

private:
    int sync() override { return ++flushed, 0; }
};

} // namespace

TEST_CASE("a traced number is written as a stream writes it", "[trace]")
{
    checkNumbersOfAllTypes(asItIs);
}

TEST_CASE("a traced number follows the manipulators", "[trace]")
{
    for (const auto manipulator :
         {std::dec, std::hex, std::oct, std::showpos, std::showbase, std::uppercase, std::internal,
          std::left, std::right, std::boolalpha, std::unitbuf}) {
        checkNumbersOfAllTypes([&](std::wostream& stream) { stream << manipulator; });
        checkNumbersOfAllTypes([&](std::wostream& stream) { stream << std::hex << manipulator; });
    }
    checkNumbersOfAllTypes([](std::wostream& stream) { stream.unsetf(std::ios_base::basefield); });
    checkNumbersOfAllTypes([](std::wostream& stream) { stream.setf(std::ios_base::hex); });
}

TEST_CASE("a traced number is filled to the width", "[trace]")
{
    const auto checkFilled = [](auto value) {
        traceobject scope(function(), "void f()");
        tolvane::tracedline line(scope, tl_info);
        line << std::setw(8) << std::setfill(L'.') << value << value;
        std::wostringstream stream;
        stream << std::setw(8) << std::setfill(L'.') << value << value;
        CHECK(traceobjecttest::line(scope) == stream.str());
    };
    checkFilled(-42);
    checkFilled(42ULL);
    checkFilled("text");
}

TEST_CASE("truth values and characters are not written as numbers", "[trace]")
{
    checkSame(asItIs, true);
    checkSame([](std::wostream& stream) { stream << std::boolalpha; }, true);
    checkSame(asItIs, 'c');
    checkSame(asItIs, L'c');
}

TEST_CASE("a traced number follows the locale that is global", "[trace]")
{
    const localeguard guard;
    const std::locale classic = std::locale::classic();
    for (const std::locale& locale :
         {std::locale(classic, new grouping), std::locale(classic, new wordwriter)}) {
        std::locale::global(locale);
        checkSame(asItIs, 1234567L);
        checkSame(asItIs, -1234567L);
    }
    std::locale::global(std::locale::classic());
    checkSame(asItIs, 1234567L);
}

TEST_CASE("a traced number follows the locale that the scope is given", "[trace]")
{
    const std::locale locale(std::locale::classic(), new grouping);
    const preparation_t imbue = [&locale](std::wostream& stream) { stream.imbue(locale); };

    checkSame(imbue, 1234567);
    CHECK(written(imbue, 1234567) == L"<1'234'567|1'234'567>");
}

TEST_CASE("a traced number is written by what the stream found when it was given its locale",
          "[trace]")
{
    const std::locale words(std::locale::classic(), new wordwriter);
    checkSame(
        [&words](std::wostream& stream) {
            stream.imbue(words);
            static_cast<std::ios_base&>(stream).imbue(std::locale::classic()); // not told
        },
        42L);
}

TEST_CASE("numbers and narrow text go to the buffer that the scope was given", "[trace]")
{
    std::wstringbuf other;
    traceobject scope(function(), "void f()");
    tolvane::tracedline line(scope, tl_info);
    scope.rdbuf(&other);

    line << 42 << L"|" << 7U << "|text";

    CHECK(other.str() == L"42|7|text");
    CHECK(traceobjecttest::line(scope).empty());
}

TEST_CASE("numbers and narrow text take the way that a derived scope has for text", "[trace]")
{
    shouting scope;
    tolvane::tracedline line(scope, tl_info);

    line << 42 << "ab";

    CHECK(traceobjecttest::line(scope) == L"!4!2!a!b");
}

TEST_CASE("without memory a number spoils its own line only", "[trace]")
{
    traceobject scope(function(), "void f()");
    {
        tolvane::tracedline line(scope, tl_info);
        line << 1234567;
        {
            const allocations::failure failure;
            line << 8;
        }
        CHECK(scope.bad());
        line << "after";
        CHECK(traceobjecttest::line(scope) == L"1234567");
    }
    tolvane::tracedline line(scope, tl_info);
    line << 9;

    CHECK(traceobjecttest::line(scope) == L"9");
}

TEST_CASE("numbers of the first scope follow a locale that groups digits", "[.][groups]")
{
    checkNumbersOfFirstScope(new grouping);
}

TEST_CASE("numbers of the first scope follow a locale that groups many digits", "[.][longgroups]")
{
    checkNumbersOfFirstScope(new grouping(10));
}

TEST_CASE("numbers of the first scope follow a locale that writes words", "[.][words]")
{
    checkNumbersOfFirstScope(new wordwriter);
}

TEST_CASE("numbers of the first scope follow a locale with digits of its own", "[.][digits]")
{
    checkNumbersOfFirstScope(new widedigits);
}

TEST_CASE("a number and a narrow text flush the stream that is tied to the scope", "[trace]")
{
    flushcounter counter;
    std::wostream tied(&counter);
    traceobject scope(function(), "void f()");
    scope.tie(&tied);
    tolvane::tracedline line(scope, tl_info);

    line << 42;
    CHECK(counter.flushed == 1);
    line << "text";
    CHECK(counter.flushed == 2);
    CHECK(traceobjecttest::line(scope) == L"42text");
}

TEST_CASE("nothing is written behind what failed within a line", "[trace]")
{
    traceobject scope(function(), "void f()");
    tolvane::tracedline line(scope, tl_info);

    line << 1;
    scope.setstate(std::ios_base::failbit);
    line << 2 << "text";

    CHECK(traceobjecttest::line(scope) == L"1");
}

TEST_CASE("narrow text is written up to its first NUL, ASCII or not", "[trace]")
{
    CHECK(written(asItIs, std::string("ab\0cd", 5)) == L"<ab|ab>");
    CHECK(written(asItIs, std::string("ab\0\xC3\xBC", 5)) == L"<ab|ab>");
    CHECK(written(asItIs, std::string("\0ab", 3)) == L"<|>");
    CHECK(written(asItIs, std::string(1000, 'x')) ==
          L"<" + std::wstring(1000, L'x') + L"|" + std::wstring(1000, L'x') + L">");
    CHECK(written(asItIs, std::string("\x7F")) == L"<\x7F|\x7F>");
    const std::wstring converted = tolvane::string("a\xFF").c_str();
    CHECK(written(asItIs, std::string("a\xFF")) == L"<" + converted + L"|" + converted + L">");
}
