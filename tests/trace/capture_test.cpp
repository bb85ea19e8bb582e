#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/scopetest.h"
#include "tests/helpers/traceimpltest.h"
#include "tests/helpers/traceobjecttest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cfenv>
#include <complex>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>

// What a traced line gathers, instead of inserting it into the scope's stream, is compared with
// what a stream of the standard library makes of it.

namespace {

using preparation_t = std::function<void(std::wostream&)>;
using texts_t = std::vector<std::wstring>;

// As another source declares them.
extern const char unboundedText[];
extern const wchar_t unboundedWideText[];

void asItIs(std::wostream&) {}

const hashedfunction*& function()
{
    static const hashedfunction* registered = nullptr;
    return registered;
}

/// The queue's only line.
std::wstring onlyLine(const heldqueue& queue)
{
    const texts_t texts = queue.texts();
    REQUIRE(texts.size() == 1);
    return texts[0];
}

template <class value_t>
std::wstring written(const preparation_t& prepare, const value_t& value)
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    prepare(scope);
    tolvane::tracedline(scope, tl_info) << L"<" << value << L"|" << value << L">";
    return onlyLine(queue);
}

/// By a line that has no stream to lean on.
template <class value_t>
std::wstring gathered(const value_t& value)
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    tolvane::tracedline(scope, tl_info) << L"<" << value << L"|" << value << L">";
    CHECK_FALSE(scopetest::hasStream(scope));
    return onlyLine(queue);
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

/// What the current locale, of one byte a character, makes of each character up to a NUL.
std::wstring convertedSingly(const std::string& text)
{
    std::wstring wide;
    for (const char character : std::string(text.c_str())) {
        wide += tolvane::string(std::string(1, character)).c_str();
    }
    return wide;
}

/// Without a preparation the line is gathered.
template <class value_t>
void checkGathered(const value_t& value)
{
    CHECK(gathered(value) == expected(asItIs, value));
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

template <class number_t>
void checkGatheredNumbers()
{
    using limits = std::numeric_limits<number_t>;
    for (const number_t number :
         {limits::min(), limits::max(), limits::lowest(), number_t(0), number_t(9), number_t(10),
          number_t(99), number_t(100), static_cast<number_t>(12345)}) {
        checkGathered(number);
    }
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

TEST_CASE("a traced number is gathered, and written as a stream writes it", "[trace][capture]")
{
    checkGatheredNumbers<signed char>();
    checkGatheredNumbers<unsigned char>();
    checkGatheredNumbers<short>();
    checkGatheredNumbers<unsigned short>();
    checkGatheredNumbers<int>();
    checkGatheredNumbers<unsigned int>();
    checkGatheredNumbers<long>();
    checkGatheredNumbers<unsigned long>();
    checkGatheredNumbers<long long>();
    checkGatheredNumbers<unsigned long long>();
    checkGatheredNumbers<float>();
    checkGatheredNumbers<double>();
    checkGatheredNumbers<long double>();
    checkNumbersOfAllTypes([](std::wostream& stream) { stream.flags(); });
}

TEST_CASE("numbers that are none, truth values and addresses are gathered", "[trace][capture]")
{
    int object = 0;
    checkGathered(std::numeric_limits<double>::infinity());
    checkGathered(-std::numeric_limits<float>::infinity());
    checkGathered(std::numeric_limits<long double>::quiet_NaN());
    checkGathered(std::numeric_limits<double>::denorm_min());
    checkGathered(true);
    checkGathered(false);
    checkGathered(static_cast<const void*>(&object));
    checkGathered(static_cast<void*>(&object));
    checkGathered(static_cast<const void*>(nullptr));
    volatile int changing = 7;
    CHECK(gathered(changing) == L"<7|7>");
    CHECK(gathered(u'c') == L"<99|99>");
    CHECK(gathered(U'c') == L"<99|99>");
}

TEST_CASE("what has no kind of its own is written by its inserter", "[trace][capture]")
{
    enum unscoped
    {
        value = 3
    };
    int object = 0;
    checkSame(asItIs, value);
    checkSame(asItIs, &object);
    checkSame(asItIs, &asItIs);
    checkSame(asItIs, nullptr);
    checkSame(asItIs, std::complex<double>(1, 2));
}

TEST_CASE("characters are gathered but for those that end a line", "[trace][capture]")
{
    for (int code = 1; code < 0x80; ++code) {
        if (code != '\n' && code != '\r') {
            checkGathered(static_cast<char>(code));
            checkGathered(static_cast<wchar_t>(code));
        }
    }
    checkGathered(L'\x20AC');
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOG(scope, tl_always) << "a" << '\n' << "b" << L'\r' << "c" << '\0' << L'\0' << "d";
    // with that one the stream fails, which loses what follows on the line
    TOLVANE_LOG(scope, tl_always) << L"e" << static_cast<wchar_t>(std::char_traits<wchar_t>::eof())
                                  << "f";

    CHECK(queue.texts() == texts_t{L"a", L"b", L"cd", L"e", L""});
}

TEST_CASE("a character beyond ASCII is a text of its own, and costs none behind it",
          "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    for (int code = 0x80; code <= 0xFF; ++code) {
        const char text[] = {static_cast<char>(code), '\0'};
        TOLVANE_LOG(scope, tl_always) << "a" << text << 1;
        TOLVANE_LOG(scope, tl_always) << "a" << text[0] << 1;
        TOLVANE_LOG(scope, tl_always) << std::hex << "a" << text[0] << 1;
        TOLVANE_LOGF(scope, tl_always, "a%c%d", text[0], 1);
        const texts_t lines = queue.texts();
        REQUIRE(lines.size() >= 4);
        CHECK(std::equal(lines.end() - 3, lines.end(), lines.end() - 4));
    }
    CHECK(queue.texts().front().size() == 3); // the runtime knows what is in the middle
    CHECK(queue.texts().front().back() == L'1');
}

TEST_CASE("a real is rounded as the thread that traces has it", "[trace][capture]")
{
    constexpr double slightlyMore = 1.0000001;
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    traceobject plain(function(), "void f()");

    std::fesetround(FE_UPWARD);
    TOLVANE_LOG(scope, tl_always) << slightlyMore << static_cast<long double>(slightlyMore);
    TOLVANE_LOG(plain, tl_always) << slightlyMore << static_cast<long double>(slightlyMore);
    std::fesetround(FE_TONEAREST);

    const texts_t texts = queue.texts();
    REQUIRE(texts.size() == 2);
    CHECK(texts[0] == texts[1]);
}

TEST_CASE("a traced number follows the manipulators", "[trace][capture]")
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

TEST_CASE("a traced number is filled to the width", "[trace][capture]")
{
    const auto checkFilled = [](auto value) {
        const heldqueue queue;
        tolvane::scope scope(function(), "void f()");
        TOLVANE_LOG(scope, tl_always) << std::setw(8) << std::setfill(L'.') << value << value;
        std::wostringstream stream;
        stream << std::setw(8) << std::setfill(L'.') << value << value;
        CHECK(onlyLine(queue) == stream.str());
    };
    checkFilled(-42);
    checkFilled(42ULL);
    checkFilled("text");
}

TEST_CASE("truth values and characters are not written as numbers", "[trace][capture]")
{
    checkGathered(true);
    checkSame([](std::wostream& stream) { stream << std::boolalpha; }, true);
    checkGathered('c');
    checkGathered(L'c');
}

TEST_CASE("a traced number follows the locale that is global", "[trace][capture]")
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

TEST_CASE("a traced number follows the locale that the scope is given", "[trace][capture]")
{
    const std::locale locale(std::locale::classic(), new grouping);
    const preparation_t imbue = [&locale](std::wostream& stream) { stream.imbue(locale); };

    checkSame(imbue, 1234567);
    CHECK(written(imbue, 1234567) == L"<1'234'567|1'234'567>");
}

TEST_CASE("a traced number is written by what the stream found when it was given its locale",
          "[trace][capture]")
{
    const std::locale words(std::locale::classic(), new wordwriter);
    checkSame(
        [&words](std::wostream& stream) {
            stream.imbue(words);
            static_cast<std::ios_base&>(stream).imbue(std::locale::classic()); // not told
        },
        42L);
}

TEST_CASE("a line goes to the buffer that the scope's stream was given", "[trace][capture]")
{
    const heldqueue queue;
    std::wstringbuf other;
    tolvane::scope scope(function(), "void f()");
    scope.rdbuf(&other);

    TOLVANE_LOG(scope, tl_always) << 42 << L"|" << 7U << "|text";

    CHECK(other.str() == L"42|7|text");
    CHECK(onlyLine(queue).empty());
}

TEST_CASE("numbers and narrow text take the way that a derived scope has for text",
          "[trace][capture]")
{
    shouting scope;
    tolvane::tracedline line(scope, tl_info);

    line << 42 << "ab";

    CHECK(traceobjecttest::line(scope) == L"!4!2!a!b");
}

TEST_CASE("without memory a number spoils its own line only", "[trace][capture]")
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

TEST_CASE("numbers of a scope follow the locale that is global at its first use",
          "[trace][capture]")
{
    const localeguard guard;
    const std::locale classic = std::locale::classic();
    for (const std::locale& locale :
         {std::locale(classic, new grouping), std::locale(classic, new grouping(10)),
          std::locale(classic, new wordwriter), std::locale(classic, new widedigits)}) {
        std::locale::global(locale);
        checkNumbersOfAllTypes(asItIs);
        checkSame(asItIs, 1234567.5);
    }
}

TEST_CASE("a scope keeps the classic locale that was global at its first line", "[trace][capture]")
{
    const localeguard guard(std::locale::classic());
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    TOLVANE_LOG(scope, tl_always) << 1234567;
    std::locale::global(std::locale(std::locale::classic(), new grouping));

    TOLVANE_LOG(scope, tl_always) << 1234567;
    TOLVANE_LOG(scope, tl_always) << 1234567 << std::dec << 1234567;
    CHECK(scope.getloc() == std::locale::classic());
    CHECK(scope.rdbuf()->getloc() == std::locale::classic());
    TOLVANE_LOG(scope, tl_always) << 1234567;

    CHECK(queue.texts() == texts_t{L"1234567", L"1234567", L"12345671234567", L"1234567"});
}

TEST_CASE("a scope keeps another locale that was global at its first line", "[trace][capture]")
{
    const localeguard guard(std::locale(std::locale::classic(), new grouping));
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    TOLVANE_LOG(scope, tl_always) << 1234567;
    std::locale::global(std::locale::classic());

    TOLVANE_LOG(scope, tl_always) << 1234567;

    CHECK(queue.texts() == texts_t{L"1'234'567", L"1'234'567"});
}

TEST_CASE("a number and a narrow text flush the stream that is tied to the scope",
          "[trace][capture]")
{
    flushcounter counter;
    std::wostream tied(&counter);
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    scope.tie(&tied);
    {
        tolvane::tracedline line(scope, tl_info);
        line << 42;
        CHECK(counter.flushed == 1);
        line << "text";
        CHECK(counter.flushed == 2);
    }
    CHECK(onlyLine(queue) == L"42text");
}

TEST_CASE("nothing is written behind what failed within a line", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    {
        tolvane::tracedline line(scope, tl_info);
        line << 1;
        scope.setstate(std::ios_base::failbit);
        line << 2 << "text";
    }
    CHECK(onlyLine(queue) == L"1");
    CHECK(scope.good());
}

TEST_CASE("narrow text is written up to its first NUL, ASCII or not", "[trace][capture]")
{
    for (const auto way :
         {gathered<std::string>, +[](const std::string& text) {
              return written([](std::wostream& stream) { stream.unsetf(std::ios_base::dec); },
                             text);
          }}) {
        CHECK(way(std::string("ab\0cd", 5)) == L"<ab|ab>");
        CHECK(way(std::string("ab\0\xC3\xBC", 5)) == L"<ab|ab>");
        CHECK(way(std::string("\0ab", 3)) == L"<|>");
        CHECK(way(std::string("\x7F")) == L"<\x7F|\x7F>");
        const std::wstring converted = convertedSingly("a\xFF");
        CHECK(way(std::string("a\xFF")) == L"<" + converted + L"|" + converted + L">");
    }
}

TEST_CASE("narrow text of every length is looked through to its end", "[trace][capture]")
{
    constexpr std::size_t longest = 300; // longer than what is kept by its length alone
    for (std::size_t length = 0; length <= longest; ++length) {
        const std::wstring wide(length, L'x');
        CHECK(gathered(std::string(length, 'x')) == L"<" + wide + L"|" + wide + L">");
    }
    for (std::size_t length = 1; length <= 20; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            for (const char odd : {'\0', '\x80', '\xFF'}) {
                std::string text(length, 'x');
                text[at] = odd;
                const std::wstring converted = convertedSingly(text);
                CHECK(gathered(text) == L"<" + converted + L"|" + converted + L">");
            }
        }
    }
}

TEST_CASE("narrow text is converted in the locale in which it is traced", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    {
        const localeguard guard;
        const multibytelocale encoding;
        TOLVANE_LOG(scope, tl_always) << "<" << encoding.bytes << ">";
        TOLVANE_LOGF(scope, tl_always, ("[%d" + encoding.bytes + "]").c_str(), 1);
    }

    CHECK_FALSE(scopetest::hasStream(scope));
    CHECK(queue.texts() == texts_t{std::wstring(L"<") + multibytelocale::character + L">",
                                   std::wstring(L"[1") + multibytelocale::character + L"]"});
}

TEST_CASE("an array of characters ends at its NUL or its end", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    char buffer[64] = "ab";
    const char constant[64] = "cd";
    const char whole[2] = {'e', 'f'};
    char changing[2] = {'g', 'h'};
    wchar_t wideBuffer[64] = L"ij";
    const wchar_t wideWhole[2] = {L'k', L'l'};
    const char early[] = "mn\0op";

    TOLVANE_LOG(scope, tl_always) << buffer << constant << whole << changing << wideBuffer
                                  << wideWhole << early << "q\0r";
    TOLVANE_LOGF(scope, tl_always, "%s%s%s%s%s%s%s", buffer, constant, whole, changing, wideBuffer,
                 wideWhole, early);

    CHECK(queue.texts() == texts_t{L"abcdefghijklmnq", L"abcdefghijklmn"});
}

TEST_CASE("wide text is cut at a NUL in each stretch of 10,485,760 characters", "[trace][capture]")
{
    constexpr std::size_t stretch = 10485760;
    std::wstring text(stretch + 5, L'x');
    text.replace(0, 3, L"abc");
    text[3] = L'\0';
    text.replace(stretch - 1, 3, L"skd");
    text[stretch + 3] = L'\0';

    CHECK(gathered(text) == L"<abckdx|abckdx>");
}

TEST_CASE("lines of any length are gathered", "[trace][capture]")
{
    for (const int count : {10, 100, 1000, 20000}) {
        const heldqueue queue;
        tolvane::scope scope(function(), "void f()");
        std::wostringstream stream;
        {
            tolvane::tracedline line(scope, tl_info);
            for (int i = 0; i < count; ++i) {
                line << i << " " << L"wide " << 'c' << 0.5;
                stream << i << " " << L"wide " << 'c' << 0.5;
            }
        }
        CHECK(onlyLine(queue) == stream.str());
        CHECK_FALSE(scopetest::hasStream(scope));
    }
}

TEST_CASE("without memory for more of a line, it ends where it was", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    {
        tolvane::tracedline line(scope, tl_info);
        line << "begin ";
        {
            const allocations::failure failure;
            line << "kept ";
            for (int i = 0; i < 100; ++i) {
                line << 7777777;
            }
        }
        line << "after";
    }
    TOLVANE_LOG(scope, tl_always) << "next";

    const texts_t texts = queue.texts();
    REQUIRE(texts.size() == 2);
    CHECK(texts[0].substr(0, 18) == L"begin kept 7777777");
    CHECK(texts[0].find(L"after") == std::wstring::npos);
    CHECK(texts[1] == L"next");
}

TEST_CASE("without memory to convert a text, the line ends where it was", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const std::string beyondAscii = "a long text beyond ASCII \xFF";
    {
        tolvane::tracedline line(scope, tl_info);
        line << "begin";
        {
            const allocations::failure failure;
            line << beyondAscii;
        }
        line << "after" << std::complex<double>(1, 2);
    }

    CHECK(onlyLine(queue) == L"begin");
}

namespace {

const char unboundedText[] = "of no length here";
const wchar_t unboundedWideText[] = L"wide";

} // namespace

TEST_CASE("an array without a length, or the head of a longer text, is read to its NUL",
          "[trace][capture]")
{
    struct named
    {
        char name[1];
        char rest[9];
        wchar_t wideName[1];
        wchar_t wideRest[9];
    };
    named thing = {{'l'}, "ong name", {L'w'}, L"ide name"};
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOG(scope, tl_always) << unboundedText << ' ' << unboundedWideText;
    TOLVANE_LOGF(scope, tl_always, "%s %s %c", unboundedText, unboundedWideText, 'x');
    TOLVANE_LOG(scope, tl_always) << thing.name << ' ' << thing.wideName << "" << L"";
    TOLVANE_LOGF(scope, tl_always, "%s %s", thing.name, std::as_const(thing).name);

    CHECK(queue.texts() == texts_t{L"of no length here wide", L"of no length here wide x",
                                   L"long name wide name", L"long name long name"});
}

TEST_CASE("a format may be whatever converts to a string", "[trace][capture]")
{
    struct titled
    {
        operator tolvane::string() const { return tolvane::string("a title of some length: %d"); }
    };
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOGF(scope, tl_always, titled(), 1);
    TOLVANE_LOGF(scope, tl_always, tolvane::string(L"wide %d"), 2);

    CHECK(queue.texts() == texts_t{L"a title of some length: 1", L"wide 2"});
}

TEST_CASE("pointers to numbers are gathered as addresses", "[trace][capture]")
{
    int number = 1;
    const double real = 2;
    void (*const nobody)() = nullptr;
    CHECK(gathered(&number) == expected(asItIs, &number));
    CHECK(gathered(&real) == expected(asItIs, &real));
    CHECK(written(asItIs, nobody) == expected(asItIs, nobody));
    volatile int changing = 4;
    CHECK(written(asItIs, &changing) == expected(asItIs, &changing)); // as a truth value
}

TEST_CASE("a line that goes through the stream keeps its level when an operand traces",
          "[trace][capture]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const auto inner = [&scope] {
        TOLVANE_LOG(scope, tl_debug) << "inner";
        return 2;
    };

    TOLVANE_LOG(scope, tl_error) << std::hex << inner() << " end";

    const auto entries = queue.entries();
    REQUIRE(entries.size() == 2);
    CHECK(entries[0].level == tl_debug);
    CHECK(entries[1].level == tl_error);
}

TEST_CASE("without memory for a format on a stream, the line ends where it was", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    scope << std::showbase;
    const std::string longFormat = std::string(300, 'x') + "% and more %";
    for (unsigned long long after = 0; after < 20; ++after) {
        bool threw = false;
        try {
            const allocations::failure failure(after);
            TOLVANE_LOGF(scope, tl_always, longFormat.c_str(), 1, 2);
        } catch (...) {
            threw = true;
        }
        CAPTURE(after);
        CHECK_FALSE(threw);
    }
    scope.clear();
    TOLVANE_LOGF(scope, tl_always, "next %d", 1);

    CHECK(queue.texts().back() == L"next 1");
}

TEST_CASE("an operand may trace a line of its own", "[trace][capture]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_info);
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const auto inner = [&scope] {
        TOLVANE_LOG(scope, tl_error) << "inner " << 1;
        return 2;
    };

    TOLVANE_LOG(scope, tl_always) << "outer " << inner() << " end";

    const auto entries = queue.entries();
    REQUIRE(entries.size() == 2);
    CHECK(entries[0].text == L"inner 1");
    CHECK(entries[0].level == tl_error);
    CHECK(entries[1].text == L"outer 2 end");
    CHECK(entries[1].level == tl_always);
}

TEST_CASE("a line within an operand leaves what its line has in the stream alone",
          "[trace][capture]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const auto innermost = [&scope] {
        TOLVANE_LOG(scope, tl_debug) << "innermost " << 10 << std::oct << 8;
        return 12;
    };
    const auto inner = [&] {
        TOLVANE_LOG(scope, tl_error) << "inner " << 11 << std::showbase << innermost();
        TOLVANE_LOGF(scope, tl_error, "formatted %d", 11);
        return 13;
    };

    TOLVANE_LOG(scope, tl_info) << "outer " << std::hex << std::setfill(L'.') << 14 << std::setw(3)
                                << inner() << ' ' << inner() << " end";
    TOLVANE_LOG(scope, tl_info) << 15;

    const auto entries = queue.entries();
    CHECK(queue.texts() == texts_t{L"innermost 1010", L"inner 1112", L"formatted 11",
                                   L"innermost 1010", L"inner 1112", L"formatted 11",
                                   L"outer e..d d end", L"15"});
    CHECK(entries[0].level == tl_debug);
    CHECK(entries[1].level == tl_error);
    CHECK(entries[2].level == tl_error);
    CHECK(entries[6].level == tl_info);
}

TEST_CASE("a line end within a line keeps the line's level, whatever an operand traced",
          "[trace][capture]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const auto inner = [&scope] {
        TOLVANE_LOG(scope, tl_debug) << "inner";
        return 2;
    };

    TOLVANE_LOG(scope, tl_error) << std::hex << inner() << '\n' << "second";

    const auto entries = queue.entries();
    REQUIRE(queue.texts() == texts_t{L"inner", L"2", L"second"});
    CHECK(entries[1].level == tl_error);
    CHECK(entries[2].level == tl_error);
}

TEST_CASE("a line end that an operand writes to the stream takes along what waits there",
          "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    traceobject& stream = scope;
    const auto inner = [&] {
        TOLVANE_LOG(scope, tl_always) << "inner " << std::dec << (stream << L"|" << std::endl, 1);
        return 2;
    };

    TOLVANE_LOG(scope, tl_always) << "outer " << std::dec << inner() << " end";

    CHECK(queue.texts() == texts_t{L"outer inner |", L"1", L"2 end"});
}

TEST_CASE("what manipulators set ends with the line, what was set on the stream stays",
          "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOG(scope, tl_always) << std::hex << std::setfill(L'0') << std::setprecision(2) << 255
                                  << std::setw(9);
    TOLVANE_LOG(scope, tl_always) << 255 << ' ' << 3.14159;
    CHECK(scopetest::hasStream(scope));
    scope << std::hex << std::setfill(L'.');
    TOLVANE_LOG(scope, tl_always) << std::dec << 255 << std::setw(3) << 1;
    TOLVANE_LOG(scope, tl_always) << 255 << std::setw(3) << 1;
    scope << std::setw(5);
    TOLVANE_LOG(scope, tl_always) << 255 << 1;
    TOLVANE_LOG(scope, tl_always) << 255 << 1;

    CHECK(queue.texts() == texts_t{L"ff", L"255 3.14159", L"255..1", L"ff..1", L"...ff1", L"ff1"});
}

TEST_CASE("what an operand writes to the scope's stream stands at its place in the line",
          "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    traceobject& stream = scope;

    TOLVANE_LOG(scope, tl_always) << "a" << (scope << L"x", 5) << "b";
    TOLVANE_LOG(scope, tl_always) << "a" << 255 << (stream << L"x" << std::hex, 255) << "b";
    stream << std::dec;
    TOLVANE_LOG(scope, tl_always) << 255;

    CHECK(queue.texts() == texts_t{L"ax5b", L"a255xffb", L"255"});
}

TEST_CASE("what is inserted into the stream and what is traced meet on one line",
          "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    scope << L"begun " << 1;
    TOLVANE_LOG(scope, tl_always) << " ended " << 2;
    scope << L"begun " << 3;
    TOLVANE_LOGF(scope, tl_always, " ended %d", 4);
    TOLVANE_LOG(scope, tl_always) << "alone";

    CHECK(queue.texts() == texts_t{L"begun 1 ended 2", L"begun 3 ended 4", L"alone"});
}

TEST_CASE("what was gathered goes in front of what the stream writes", "[trace][capture]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOG(scope, tl_always) << "a" << 1 << 'b' << 0.5 << std::complex<int>(1, 2) << "c" << 3;
    TOLVANE_LOG(scope, tl_always) << "a" << 10 << std::hex << 10 << std::dec << 10;
    TOLVANE_LOG(scope, tl_always) << 10;

    CHECK(queue.texts() == texts_t{L"a1b0.5(1,2)c3", L"a10a10", L"10"});
}
