#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/scopetest.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <ostream>
#include <random>
#include <string>
#include <vector>

// Lines of random operands are traced twice: by a scope, which gathers what it can, and by a plain
// stream, through which everything goes at once. Both queue the same.

namespace {

using random_t = std::mt19937;
using inserter_t = std::function<void(tolvane::tracedline&)>;
using change_t = std::function<void(std::wostream&)>;

/// One of them, each as likely.
template <class choice_t>
choice_t anyOf(random_t& random, std::initializer_list<choice_t> choices)
{
    return choices.begin()[random() % choices.size()];
}

template <class number_t>
number_t randomNumber(random_t& random)
{
    using limits = std::numeric_limits<number_t>;
    const unsigned long long bits = static_cast<unsigned long long>(random()) << 32 | random();
    return anyOf<number_t>(random, {limits::min(), limits::max(), number_t(0), number_t(1),
                                    static_cast<number_t>(-1), static_cast<number_t>(bits),
                                    static_cast<number_t>(bits % 1000)});
}

template <class number_t>
number_t randomReal(random_t& random)
{
    using limits = std::numeric_limits<number_t>;
    const auto any = static_cast<number_t>(
        std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 2000) - 1000));
    return anyOf<number_t>(random,
                           {limits::min(), limits::max(), limits::lowest(), limits::infinity(),
                            -limits::infinity(), limits::quiet_NaN(), limits::denorm_min(),
                            number_t(0), number_t(-0.0), number_t(0.1L), any, -any,
                            static_cast<number_t>(random() % 100000) / number_t(1000)});
}

/// Mostly ASCII, of lengths around those that matter.
std::string randomText(random_t& random)
{
    const std::size_t length = anyOf<std::size_t>(
        random, {0, 1, 3, 4, 7, 8, 9, 15, 16, 31, 100, 127, 128, 129, 300, random() % 40});
    std::string text(length, 'x');
    for (char& character : text) {
        character = static_cast<char>(' ' + random() % ('~' - ' ' + 1));
    }
    if (length != 0 && random() % 5 == 0) {
        text[random() % length] = anyOf(random, {'\0', '\n', '\r', '\xFC', '\x80'});
    }
    if (random() % 10 == 0) {
        text.insert(random() % (length + 1), "\xE3\x81\x82");
    }
    return text;
}

std::wstring randomWide(random_t& random)
{
    std::wstring text;
    for (const char character : randomText(random)) {
        text += static_cast<wchar_t>(static_cast<unsigned char>(character) *
                                     anyOf(random, {1U, 1U, 1U, 100U}));
    }
    return text;
}

template <class value_t>
inserter_t inserts(const value_t& value)
{
    return [value](tolvane::tracedline& line) { line << value; };
}

enum unscoped
{
    enumerator = 5
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

inserter_t randomInteger(random_t& random)
{
    switch (random() % 13) {
    case 0:
        return inserts(randomNumber<short>(random));
    case 1:
        return inserts(randomNumber<unsigned short>(random));
    case 2:
        return inserts(randomNumber<int>(random));
    case 3:
        return inserts(randomNumber<unsigned int>(random));
    case 4:
        return inserts(randomNumber<long>(random));
    case 5:
        return inserts(randomNumber<unsigned long>(random));
    case 6:
        return inserts(randomNumber<long long>(random));
    case 7:
        return inserts(randomNumber<unsigned long long>(random));
    case 8:
        return inserts(randomNumber<signed char>(random));
    case 9:
        return inserts(randomNumber<unsigned char>(random));
    case 10:
        return inserts(randomNumber<char16_t>(random));
    case 11:
        return inserts(randomNumber<char32_t>(random));
    default:
        return inserts(random() % 2 == 0);
    }
}

inserter_t randomTextInserter(random_t& random)
{
    const std::string text = randomText(random);
    const std::wstring wide = randomWide(random);
    switch (random() % 14) {
    case 0:
        return inserts(text);
    case 1:
        return [text](tolvane::tracedline& line) { line << std::string_view(text); };
    case 2:
        return [text](tolvane::tracedline& line) { line << text.c_str(); };
    case 3:
        return inserts(wide);
    case 4:
        return [wide](tolvane::tracedline& line) { line << std::wstring_view(wide); };
    case 5:
        return [wide](tolvane::tracedline& line) { line << wide.c_str(); };
    case 6:
        return inserts(tolvane::string(wide.c_str()));
    case 7:
        return [](tolvane::tracedline& line) { line << "a literal"; };
    case 8:
        return [](tolvane::tracedline& line) {
            line << ""
                 << "b"
                 << "abc"
                 << "defgh";
        };
    case 9:
        return [](tolvane::tracedline& line) { line << L"a wide literal"; };
    case 10:
        return inserts(static_cast<const char*>(nullptr));
    case 11:
        return inserts(static_cast<wchar_t*>(nullptr));
    case 12:
        return inserts(static_cast<char>(random() % 256));
    default:
        return inserts(static_cast<wchar_t>(random() % 0x3000));
    }
}

inserter_t randomOther(random_t& random)
{
    switch (random() % 12) {
    case 0:
        return inserts(randomReal<float>(random));
    case 1:
        return inserts(randomReal<double>(random));
    case 2:
        return inserts(randomReal<long double>(random));
    case 3:
        return inserts(reinterpret_cast<const void*>(randomNumber<std::uintptr_t>(random)));
    case 4:
        return inserts(static_cast<void*>(nullptr));
    case 5:
        return inserts(&randomOther); // a function
    case 6:
        return inserts(nullptr);
    case 7:
        return inserts(static_cast<const int*>(nullptr));
    case 8:
        return inserts(enumerator);
    case 9:
        return inserts(point{1, randomNumber<int>(random)});
    case 10:
        return inserts(std::complex<double>(1.5, randomReal<double>(random)));
    default:
        return inserts(randomReal<double>(random));
    }
}

inserter_t randomManipulator(random_t& random)
{
    switch (random() % 7) {
    case 0:
        return inserts(std::setw(static_cast<int>(random() % 12)));
    case 1:
        return inserts(std::setprecision(static_cast<int>(random() % 12)));
    case 2:
        return inserts(std::setfill(L'.'));
    case 3:
        return [](tolvane::tracedline& line) { line << std::endl; };
    case 4:
        return inserts(std::resetiosflags(std::ios_base::hex | std::ios_base::showpos));
    default: {
        auto* const manipulator = anyOf<std::ios_base& (*)(std::ios_base&)>(
            random, {std::hex, std::oct, std::dec, std::showpos, std::noshowpos, std::showbase,
                     std::uppercase, std::boolalpha, std::noboolalpha, std::fixed, std::scientific,
                     std::defaultfloat, std::left, std::internal, std::unitbuf, std::nounitbuf});
        return [manipulator](tolvane::tracedline& line) { line << manipulator; };
    }
    }
}

inserter_t randomOperand(random_t& random)
{
    switch (random() % 20) {
    case 0:
        return randomManipulator(random);
    case 1:
    case 2:
    case 3:
        return randomOther(random);
    case 4:
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
    case 10:
        return randomInteger(random);
    default:
        return randomTextInserter(random);
    }
}

/// Groups digits.
class grouping : public std::numpunct<wchar_t>
{
    wchar_t do_thousands_sep() const override { return L'\''; }
    wchar_t do_decimal_point() const override { return L','; }
    std::wstring do_truename() const override { return L"ja"; }
    std::string do_grouping() const override { return "\3"; }
};

/// What a program does to its stream between lines.
change_t randomChange(random_t& random)
{
    switch (random() % 10) {
    case 0:
        return [](std::wostream& stream) { stream << L"pending "; };
    case 1:
        return [](std::wostream& stream) { stream.setf(std::ios_base::showpos); };
    case 2:
        return [](std::wostream& stream) { stream.width(7); };
    case 3:
        return [](std::wostream& stream) { stream.precision(3); };
    case 4:
        return [](std::wostream& stream) { stream.fill(L'_'); };
    case 5:
        return [](std::wostream& stream) { stream.setstate(std::ios_base::failbit); };
    case 6:
        return [locale = std::locale(std::locale::classic(), new grouping)](std::wostream& stream) {
            stream.imbue(locale);
        };
    case 7:
        return [](std::wostream& stream) { stream << L"a line of its own" << std::endl; };
    case 8:
        return [](std::wostream& stream) { stream.put(L'\n'); };
    default:
        return [](std::wostream& stream) { stream.copyfmt(std::wostream(nullptr)); };
    }
}

std::string randomFormat(random_t& random)
{
    std::string format;
    for (std::size_t pieces = random() % 8; pieces != 0; --pieces) {
        format += anyOf<const char*>(random, {"%d", "%s", "%%", "%", "text", " ", "% ",
                                              "a longer text", "\xE3\x81\x82", "%5d", "%-9s",
                                              "%.2f", "%*x", "%#o", "%.3s", "%c", "%p", "%n"});
    }
    return format;
}

/// What both ways do for one line.
struct action
{
    tracelevel_t level = tl_always;
    std::vector<change_t> changes;
    std::vector<inserter_t> operands;
    std::string format; ///< of a line by TOLVANE_LOGF, which has no operands above
    bool formatted = false;
    std::string argument;
    int number = 0;

    template <class scope_t>
    void trace(scope_t& scope) const
    {
        for (const change_t& change : changes) {
            change(scope);
        }
        if (formatted) {
            TOLVANE_LOGF(scope, tl_always, format.c_str(), number, argument, point{1, 2});
            TOLVANE_LOGF(scope, tl_always, tolvane::string(format.c_str()).c_str(), 0.5, number);
            return;
        }
        tolvane::tracedline line(scope, level);
        for (const inserter_t& insert : operands) {
            insert(line);
        }
    }
};

action randomAction(random_t& random)
{
    action made;
    made.level = anyOf(random, {tl_always, tl_error, tl_info});
    if (random() % 8 == 0) {
        made.changes.push_back(randomChange(random));
    }
    made.formatted = random() % 8 == 0;
    made.format = randomFormat(random);
    made.argument = randomText(random);
    made.number = randomNumber<int>(random);
    for (std::size_t count = random() % 9; count != 0; --count) {
        made.operands.push_back(randomOperand(random));
    }
    return made;
}

struct queued
{
    std::wstring text;
    tracelevel_t level;

    bool operator==(const queued& other) const
    {
        return text == other.text && level == other.level;
    }
};

/// What is queued, which is empty afterwards.
std::vector<queued> take(const heldqueue& queue)
{
    std::vector<queued> taken;
    for (const auto& entry : queue.entries()) {
        taken.push_back({entry.text, entry.level});
    }
    traceimpltest::emptyQueue(traceimpltest::instance());
    return taken;
}

/// The lines of a few statements of one function.
/// \return how many of them the scope traced without its stream.
int checkScope(unsigned int seed)
{
    constexpr int lines = 6;
    static const hashedfunction* function = nullptr;
    random_t random(seed);
    int gathered = 0;
    const heldqueue queue;
    tolvane::scope scope(function, "void f()");
    traceobject plain(function, "void f()");
    for (int line = 0; line < lines; ++line) {
        const action both = randomAction(random);
        INFO("the scope of seed " << seed << ", line " << line);

        both.trace(scope);
        const std::vector<queued> fromScope = take(queue);
        both.trace(plain);
        const std::vector<queued> fromPlain = take(queue);

        REQUIRE(fromScope.size() == fromPlain.size());
        for (std::size_t i = 0; i < fromScope.size(); ++i) {
            REQUIRE(fromScope[i].text == fromPlain[i].text);
            REQUIRE(fromScope[i].level == fromPlain[i].level);
        }
        gathered += scopetest::hasStream(scope) ? 0 : 1;
    }
    return gathered;
}

constexpr unsigned int firstSeed = 20240305;
constexpr unsigned int scopes = 1500;

} // namespace

TEST_CASE("random lines are the same whether they are gathered or go through a stream",
          "[trace][random]")
{
    unsigned int gathered = 0;

    for (unsigned int seed = firstSeed; seed < firstSeed + scopes; ++seed) {
        gathered += static_cast<unsigned int>(checkScope(seed));
    }

    CHECK(gathered > scopes / 2); // otherwise the test compares a stream with itself
}

TEST_CASE("random lines are the same in a locale of several bytes a character", "[trace][random]")
{
    const localeguard guard;
    const multibytelocale encoding;
    for (unsigned int seed = firstSeed; seed < firstSeed + scopes / 4; ++seed) {
        checkScope(seed);
    }
}

TEST_CASE("random lines are the same in a locale of the application's", "[trace][random]")
{
    const localeguard guard(std::locale(std::locale::classic(), new grouping));
    for (unsigned int seed = firstSeed; seed < firstSeed + scopes / 4; ++seed) {
        checkScope(seed);
    }
}
