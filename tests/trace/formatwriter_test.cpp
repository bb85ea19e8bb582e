#include <tolvane/scope.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/scopetest.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <vector>

namespace {

using random_t = std::mt19937;
using texts_t = std::vector<std::wstring>;

enum unscoped
{
    enumerator = 10
};

struct point
{
    int x;
    int y;
};

std::wostream& operator<<(std::wostream& stream, const point& value)
{
    return stream << L'(' << value.x << L';' << value.y << L')';
}

const hashedfunction*& function()
{
    static const hashedfunction* registered = nullptr;
    return registered;
}

std::wstring onlyLine(const heldqueue& queue)
{
    const texts_t texts = queue.texts();
    REQUIRE(texts.size() == 1);
    return texts[0];
}

/// The line that a scope writes; it is the same when all of it goes through a stream.
template <class... values_t>
std::wstring formatted(const char* format, const values_t&... values)
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    TOLVANE_LOGF(scope, tl_always, format, values...);
    const std::wstring gathered = onlyLine(queue);
    traceimpltest::emptyQueue(traceimpltest::instance());
    traceobject stream(function(), "void f()");
    TOLVANE_LOGF(stream, tl_always, format, values...);
    CHECK(onlyLine(queue) == gathered);
    traceimpltest::emptyQueue(traceimpltest::instance());
    TOLVANE_LOGF(scope, tl_always, tolvane::string(format), values...);
    CHECK(onlyLine(queue) == gathered);
    return gathered;
}

/// What the standard library writes.
template <class... values_t>
std::wstring printed(const std::string& format, const values_t&... values)
{
    const int length = std::snprintf(nullptr, 0, format.c_str(), values...);
    REQUIRE(length >= 0);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), format.c_str(), values...);
    text.pop_back();
    return std::wstring(text.begin(), text.end());
}

template <class choice_t>
choice_t anyOf(random_t& random, std::initializer_list<choice_t> choices)
{
    return choices.begin()[random() % choices.size()];
}

std::string anyFlags(random_t& random, const std::string& flags)
{
    std::string chosen;
    for (const char flag : flags) {
        chosen += std::string(random() % 4 == 0 ? 1 : 0, flag);
    }
    return chosen;
}

/// What stands in front of a conversion's letter, without a length.
std::string anyField(random_t& random, const std::string& flags)
{
    std::string field = "%" + anyFlags(random, flags);
    field += anyOf<const char*>(random, {"", "", "1", "5", "20", "70"});
    field += anyOf<const char*>(random, {"", "", ".", ".0", ".1", ".3", ".12", ".40"});
    return field;
}

template <class number_t>
number_t anyInteger(random_t& random)
{
    using limits = std::numeric_limits<number_t>;
    const unsigned long long bits = static_cast<unsigned long long>(random()) << 32 | random();
    return anyOf<number_t>(random, {limits::min(), limits::max(), number_t(0), number_t(1),
                                    static_cast<number_t>(-1), static_cast<number_t>(bits),
                                    static_cast<number_t>(bits % 1000)});
}

double anyReal(random_t& random)
{
    const auto any = std::ldexp(static_cast<double>(random()) * (random() % 2 == 0 ? 1 : -1),
                                static_cast<int>(random() % 200) - 100);
    return anyOf<double>(random, {0.0, -0.0, 1.0, 0.5, 1.5, 2.5, 9.9999999, 99999.5, 123456,
                                  1234567, 0.0001, 0.00001, any, any, 1e300, -1e-300});
}

constexpr int manyTimes = 400;

/// MinGW's library leaves out the digit that the C standard asks for.
bool isNoDigit(const std::string& field, char kind, bool isZero)
{
    const std::size_t point = field.find('.');
    return kind == 'o' && isZero && field.find('#') != std::string::npos &&
           point != std::string::npos &&
           field.find_first_of("123456789", point) == std::string::npos;
}

template <class number_t>
void compareIntegers(const std::string& modifier)
{
    random_t random(20240917);
    const std::string kinds = std::is_signed_v<number_t> ? "dioxXu" : "ouxX";
    for (int i = 0; i < manyTimes; ++i) {
        const char kind = kinds[random() % kinds.size()];
        const bool isSigned = kind == 'd' || kind == 'i';
        const bool isPlain = kind == 'u';
        const std::string field = anyField(random, isSigned ? "-+ 0" : isPlain ? "-0" : "-0#");
        const auto value = anyInteger<number_t>(random);
        const std::string format = field + modifier + kind;
        CAPTURE(format, +value);
        if (isNoDigit(field, kind, value == 0)) {
            continue;
        }
        const std::wstring expected = printed(format, value);
        const bool isPromoted = sizeof value < sizeof(int);
        CHECK(formatted(format.c_str(), value) == expected);
        CHECK(formatted((field + kind).c_str(), value) ==
              (isPromoted ? printed(field + kind, value) : expected));
    }
}

} // namespace

TEST_CASE("integers are formatted as by snprintf, of whatever width", "[trace][formats]")
{
    compareIntegers<char>("hh");
    compareIntegers<signed char>("hh");
    compareIntegers<unsigned char>("hh");
    compareIntegers<short>("h");
    compareIntegers<unsigned short>("h");
    compareIntegers<int>("");
    compareIntegers<unsigned int>("");
    compareIntegers<long>("l");
    compareIntegers<unsigned long>("l");
    compareIntegers<long long>("ll");
    compareIntegers<unsigned long long>("ll");
    compareIntegers<std::ptrdiff_t>("t");
    compareIntegers<std::intmax_t>("j");
    compareIntegers<std::size_t>("z");
}

TEST_CASE("an octal zero has its digit when it is to show its base", "[trace][formats]")
{
    CHECK(formatted("%#.0o|%#3.0o|%.0o|%#o|%#x", 0, 0, 0, 0, 0) == L"0|  0||0|0");
}

TEST_CASE("reals are formatted as by snprintf", "[trace][formats]")
{
    random_t random(20240917);
    const std::string kinds = "fFeEgG";
    for (int i = 0; i < 4 * manyTimes; ++i) {
        const std::string field = anyField(random, "-+ 0#");
        const char kind = kinds[random() % kinds.size()];
        const double value = anyReal(random);
        const std::string format = field + kind;
        CAPTURE(format, value);
        CHECK(formatted(format.c_str(), value) == printed(format, value));
        CHECK(formatted((field + 'L' + kind).c_str(), static_cast<long double>(value)) ==
              printed(field + 'L' + kind, static_cast<long double>(value)));
    }
}

TEST_CASE("infinity and what is no number take no zeros", "[trace][formats]")
{
    const double infinity = std::numeric_limits<double>::infinity();
    const double none = std::numeric_limits<double>::quiet_NaN();
    CHECK(formatted("%06f|%-6e|%+g|%F", infinity, -infinity, infinity, -infinity) ==
          L"   inf|-inf  |+inf|-INF");
    CHECK(formatted("%06f|%G|% a|%#g", none, none, none, infinity) == L"   nan|NAN| nan|inf");
}

TEST_CASE("a digit of a hexadecimal real is not taken for an exponent's mark", "[trace][formats]")
{
    for (const long double value : {14.5L, 1.75L, 0.875L}) { // those of 80 bits begin with an e
        const std::wstring text = formatted("%#La", value);
        CHECK(std::count(text.begin(), text.end(), L'.') == 1);
        CHECK(text.find(L"x.") == std::wstring::npos);
    }
}

TEST_CASE("hexadecimal reals have all of their digits", "[trace][formats]")
{
    CHECK(formatted("%a|%A|%a|%.1a|%12a|%#a", 1.5, -0.15625, 0.0, 1.03125, 1.0, 1.0) ==
          L"0x1.8p+0|-0X1.4P-3|0x0p+0|0x1.0p+0|      0x1p+0|0x1.p+0");
}

TEST_CASE("texts are formatted as by snprintf", "[trace][formats]")
{
    random_t random(20240917);
    const std::string whole = "a text of some length, and more";
    for (int i = 0; i < manyTimes; ++i) {
        const std::string format = anyField(random, "-") + 's';
        const std::string text = whole.substr(random() % whole.size(), random() % 30);
        const std::wstring wide(text.begin(), text.end());
        CAPTURE(format, text);
        const std::wstring expected = printed(format, text.c_str());
        CHECK(formatted(format.c_str(), text.c_str()) == expected);
        CHECK(formatted(format.c_str(), text) == expected);
        CHECK(formatted(format.c_str(), std::string_view(text)) == expected);
        CHECK(formatted(format.c_str(), wide.c_str()) == expected);
        CHECK(formatted(format.c_str(), wide) == expected);
        CHECK(formatted(format.c_str(), tolvane::string(wide)) == expected);
    }
}

TEST_CASE("whole formats are written as by snprintf", "[trace][formats]")
{
    random_t random(20240917);
    for (int i = 0; i < manyTimes; ++i) {
        std::string format;
        for (const char kind : {'d', 's', 'x', 'f'}) {
            format += anyOf<const char*>(random, {"", "text ", "%%", "%%%%", "100%% "});
            format += anyFlags(random, kind == 's' ? "-" : "-0") + "" + "%" + kind;
        }
        format += anyOf<const char*>(random, {"", " end", "%%"});
        CAPTURE(format);
        CHECK(formatted(format.c_str(), i, "text", 255U, 0.5) ==
              printed(format, i, "text", 255U, 0.5));
    }
}

TEST_CASE("a star takes its width or precision from an argument", "[trace][formats]")
{
    CHECK(formatted("[%*d]", 5, 42) == printed("[%*d]", 5, 42));
    CHECK(formatted("[%*d]", -5, 42) == printed("[%*d]", -5, 42));
    CHECK(formatted("[%.*f]", 2, 3.14159) == printed("[%.*f]", 2, 3.14159));
    CHECK(formatted("[%.*f]", -2, 3.14159) == printed("[%.*f]", -2, 3.14159));
    CHECK(formatted("[%*.*s]", 6, 3, "abcdef") == printed("[%*.*s]", 6, 3, "abcdef"));
    CHECK(formatted("[%-*.*s]", 6, 3, "abcdef") == printed("[%-*.*s]", 6, 3, "abcdef"));
    CHECK(formatted("%*d", std::size_t{4}, 1) == L"   1");
    CHECK(formatted("[%*.*f]", LLONG_MIN, LLONG_MIN, 1.0).size() > 4000); // no overflow
}

TEST_CASE("what a star cannot use is not lost", "[trace][formats]")
{
    CHECK(formatted("[%*d]", "text", 5) == L"[text] 5");
    CHECK(formatted("[%*.*d]", 8, "text", 5) == L"[    text] 5");
    CHECK(formatted("[%*d]", 5) == L"[%*d] 5");
    CHECK(formatted("[%*.*d]", 5, 6) == L"[%*.*d] 5 6");
}

TEST_CASE("an argument is written by its type, whatever the letter", "[trace][formats]")
{
    CHECK(formatted("%d|%x|%f|%c|%p", "a", std::string("b"), L"c", std::string_view("d"),
                    std::wstring(L"e")) == L"a|b|c|d|e");
    CHECK(formatted("%5d|%-5x|%.1f", "a", std::string("b"), L"cde") == L"    a|b    |cde");
    CHECK(formatted("%s|%5s|%.2f|%p", 1, -2, 3, 4) == L"1|   -2|3|4");
    CHECK(formatted("%d|%s|%6x|%c", 1.5, 2.5, 3.5F, 4.5L) == L"1.5|2.5|   3.5|4.5");
    CHECK(formatted("%d %s %x %3d", true, false, true, true) == L"1 0 1   1");
    CHECK(formatted("%d %u %x %X", 'A', '\x42', 'C', '\xFF') == L"65 66 43 FFFFFFFF");
    CHECK(formatted("%d %s %i", std::int8_t{-1}, std::uint8_t{65}, L'A') == L"-1 65 65");
    CHECK(formatted("%d %d", 4000000000U, std::numeric_limits<unsigned long long>::max()) ==
          L"4000000000 18446744073709551615");
}

TEST_CASE("characters are written as such, of numbers the last eight bits", "[trace][formats]")
{
    CHECK(formatted("%c%c%c|%3c|%-3c|%s", 'a', 98, L'c', 'd', 'e', 'f') == L"abc|  d|e  |f");
    CHECK(formatted("%c%c%3c", std::uint8_t{65}, 0x142, 'C') == L"AB  C");
    CHECK(formatted("[%c%3c]", 0, 0) == L"[   ]");
}

TEST_CASE("a line feed that is a plain character ends the line", "[trace][formats]")
{
    const heldqueue queue;
    {
        tolvane::scope scope(function(), "void f()");
        TOLVANE_LOGF(scope, tl_always, "a%cb", '\n');
        TOLVANE_LOGF(scope, tl_always, "c%cd", L'\n');
        TOLVANE_LOG(scope, tl_always) << "e" << '\n' << "f";
    }

    CHECK(queue.texts() == texts_t{L"a", L"b", L"c", L"d", L"e", L"f"});
    traceimpltest::emptyQueue(traceimpltest::instance());
    CHECK(formatted("a%cb%2cc%s", 10, '\n', "\n") == L"a\nb \nc\n");
}

TEST_CASE("negative numbers in unsigned letters have the bits of an int at least",
          "[trace][formats]")
{
    CHECK(formatted("%x %u %o", std::int8_t{-1}, std::int16_t{-1}, '\xff') ==
          L"ffffffff 4294967295 37777777777");
    CHECK(formatted("%x %x", -1, -1LL) == L"ffffffff ffffffffffffffff");
    CHECK(formatted("%lx %x", std::int16_t{-1}, std::uint8_t{255}) == L"ffffffff ff");
}

TEST_CASE("short negative numbers in unsigned letters have the bits of their type",
          "[trace][formats]")
{
    CHECK(formatted("%hhx %hx %hx", std::int8_t{-1}, std::int16_t{-1}, std::int8_t{-1}) ==
          L"ff ffff ff");
    CHECK(formatted("%hu %hho", std::int16_t{-2}, '\xff') == L"65534 377");
    CHECK(formatted("%hx %hhx", -1, -1LL) == L"ffffffff ffffffffffffffff");
}

TEST_CASE("pointers are written as by the stream, within their field", "[trace][formats]")
{
    const int* const number = reinterpret_cast<const int*>(std::uintptr_t{0x1234});
    const point* const other = reinterpret_cast<const point*>(std::uintptr_t{0x1234});
    const auto* const text = reinterpret_cast<const char*>(std::uintptr_t{0xabc});
    CHECK(formatted("%p|%8p|%-8p|%d", number, number, number, number) ==
          L"0x1234|  0x1234|0x1234  |0x1234");
    CHECK(formatted("%p|%s|%8d", other, other, other) == L"0x1234|0x1234|  0x1234");
    CHECK(formatted("%p|%p", text, nullptr) == L"0xabc|0");
}

TEST_CASE("null pointers to text write nothing within their field", "[trace][formats]")
{
    const char* const narrow = nullptr;
    const wchar_t* const wide = nullptr;
    CHECK(formatted("[%s|%3s|%.2s|%d]", narrow, narrow, narrow, narrow) == L"[|   ||]");
    CHECK(formatted("[%s|%-3s|%.2s|%x]", wide, wide, wide, wide) == L"[|   ||]");
    CHECK(formatted("%p", narrow) == L"0");
}

TEST_CASE("a text with a precision is read no further", "[trace][formats]")
{
    const char narrow[] = {'a', 'b', 'c'};
    const wchar_t wide[] = {L'a', L'b', L'c'};
    const char* const pointer = narrow;
    CHECK(formatted("%.3s|%.3s|%.9s|%5s|%.2s", pointer, static_cast<const wchar_t*>(wide), narrow,
                    wide, std::string("de\0f", 4)) == L"abc|abc|abc|  abc|de");
}

TEST_CASE("texts beyond ASCII are as long as they have characters", "[trace][formats]")
{
    const localeguard guard;
    const multibytelocale encoding;
    const std::wstring character = multibytelocale::character;
    CHECK(formatted("[%4s|%-4s]", encoding.bytes, encoding.bytes.c_str()) ==
          L"[" + std::wstring(4 - character.size(), L' ') + character + L"|" + character +
              std::wstring(4 - character.size(), L' ') + L"]");
}

TEST_CASE("what an inserter writes keeps to its field", "[trace][formats]")
{
    const point value{10, -1};
    CHECK(formatted("%s|%9s|%-9s|%.3s|%x", value, value, value, value, value) ==
          L"(10;-1)|  (10;-1)|(10;-1)  |(10|(a;ffffffff)");
    CHECK(formatted("%.2f|%+.1e", std::complex<double>(1, 2.5), std::complex<double>(1, 2)) ==
          L"(1.00,2.50)|(+1.0e+00,+2.0e+00)");
    CHECK(formatted("%d|%x|%#X|%04d|%o", enumerator, enumerator, enumerator, enumerator,
                    enumerator) == L"10|a|0XA|0010|12");
    CHECK(formatted("%x %s %d", value, value, 10) == L"(a;ffffffff) (10;-1) 10");
}

TEST_CASE("a letter of no meaning is text, as what has none behind it", "[trace][formats]")
{
    CHECK(formatted("100% yes %d", 1) == L"100% yes 1");
    CHECK(formatted("%y%5%d%-", 1) == L"%y%51%-");
    CHECK(formatted("%1$s", "a") == L"%1$s a");
    CHECK(formatted("%5.", 1) == L"%5. 1");
    CHECK(formatted("%ll", 1) == L"%ll 1");
}

TEST_CASE("lengths of other compilers are skipped, too", "[trace][formats]")
{
    CHECK(formatted("%I64d %I32u %Id %qd %wd", 1LL, 2U, 3, 4, 5) == L"1 2 3 4 5");
}

TEST_CASE("%n takes its argument and writes nothing", "[trace][formats]")
{
    int count = 7;
    CHECK(formatted("a%nb%d", &count, 1) == L"ab1");
    CHECK(count == 7);
}

TEST_CASE("fields and precisions have an end", "[trace][formats]")
{
    CHECK(formatted("%99999999999999999999d", 1) == std::wstring(4094, L' ') + L"1");
    CHECK(formatted("%.99999999999999999999d", 1) == std::wstring(4094, L'0') + L"1");
    CHECK(formatted("%.99999999f", 1.5).size() == 4097);
    CHECK(formatted("%.99999999Lf", std::numeric_limits<long double>::max()).size() >= 4096);
    CHECK(formatted("%99999999s", "a").size() == 4095);
    CHECK(formatted("%.99999999s", "whole") == L"whole");
    CHECK(formatted("%99999999s", point{1, 2}).size() == 4095);
}

TEST_CASE("plain placeholders are gathered, and so are those with a field", "[trace][formats]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");

    TOLVANE_LOGF(scope, tl_always, "%d %s %c %g %p", 1, "text", 'c', 0.5,
                 static_cast<void*>(&scope));
    TOLVANE_LOGF(scope, tl_always, "%5d %-9s %3c %.3f %#x", 1, L"text", 'c', 0.5, 255);

    CHECK_FALSE(scopetest::hasStream(scope));
    CHECK(queue.texts().back() == L"    1 text        c 0.500 0xff");
}

TEST_CASE("numbers do not mind what is set on the stream", "[trace][formats]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    scope << std::hex << std::showbase << std::boolalpha;
    scope.precision(2);

    TOLVANE_LOGF(scope, tl_always, "%d %u %g %d %s", 255, 255U, 3.14159, true, point{255, 1});

    CHECK(queue.texts() == texts_t{L"255 255 3.14159 1 (0xff;0x1)"});
}

TEST_CASE("in a stream's locale the point is that locale's", "[trace][formats]")
{
    class comma : public std::numpunct<wchar_t>
    {
        wchar_t do_decimal_point() const override { return L','; }
        wchar_t do_thousands_sep() const override { return L'.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    scope.imbue(std::locale(std::locale::classic(), new comma));

    TOLVANE_LOGF(scope, tl_always, "%.2f %d", 1234.5, 1234567);

    CHECK(queue.texts() == texts_t{L"1234,50 1234567"});
}

TEST_CASE("without memory for a field, the line ends where it was", "[trace][formats]")
{
    const heldqueue queue;
    tolvane::scope scope(function(), "void f()");
    const std::string beyondAscii = "a long text beyond ASCII \xFF";
    for (unsigned long long after = 0; after < 20; ++after) {
        bool threw = false;
        try {
            const allocations::failure failing(after);
            TOLVANE_LOGF(scope, tl_always, "%200d %.300f %60s", 1, 0.5, beyondAscii);
            TOLVANE_LOGF(scope, tl_always, "%200d %200s end", 1, point{1, 2});
        } catch (...) {
            threw = true;
        }
        CAPTURE(after);
        CHECK_FALSE(threw);
    }
    TOLVANE_LOGF(scope, tl_always, "next %3d", 1);

    CHECK(queue.texts().back() == L"next   1");
}
