#include <tolvane/narrowstream.h>

#include <tolvane/scope.h>

#include "tests/helpers/localeguard.h"
#include "tests/helpers/tracedtest.h"

#include <catch2/catch.hpp>

#include <ctime>
#include <filesystem>
#include <iomanip>
#include <map>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace shapes {

/// Has an inserter for narrow streams alone, as most of an application's types.
struct point
{
    int x;
    int y;
};

std::ostream& operator<<(std::ostream& stream, const point& value)
{
    return stream << '(' << value.x << ';' << value.y << ')';
}

/// A wide stream would take it for a number.
enum colour
{
    red,
    green,
};

std::ostream& operator<<(std::ostream& stream, colour value)
{
    return stream << (value == red ? "red" : "green");
}

enum class size
{
    small,
};

std::ostream& operator<<(std::ostream& stream, const size&)
{
    return stream << "small";
}

/// Has one for each kind of stream.
struct both
{};

std::ostream& operator<<(std::ostream& stream, const both&)
{
    return stream << "narrow";
}

std::wostream& operator<<(std::wostream& stream, const both&)
{
    return stream << L"wide";
}

/// A manipulator of the application's.
std::ostream& dotted(std::ostream& stream)
{
    return stream << "..." << std::setfill('.') << std::setw(4) << std::hex << std::setprecision(3);
}

struct failing
{};

std::ostream& operator<<(std::ostream& stream, const failing&)
{
    stream << "before";
    stream.setstate(std::ios_base::failbit);
    return stream;
}

struct silent
{};

/// A text by another name.
struct name : std::string
{
    using std::string::string;
};

struct constants
{
    static const int count = 7;
    static const bool on = true;
    static const colour shade = green;
};

} // namespace shapes

namespace {

using texts_t = std::vector<std::wstring>;

/// What a narrow stream writes.
template <class... values_t>
std::wstring asNarrowStream(const values_t&... values)
{
    std::ostringstream stream;
    (stream << ... << values);
    const std::string text = stream.str();
    return {text.begin(), text.end()};
}

} // namespace

TEST_CASE("what has an inserter for narrow streams alone is written by that", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a" << shapes::point{1, 2} << 3 << shapes::size::small;
    TOLVANE_LOG(log, tl_info) << shapes::both() << shapes::name("name");
    TOLVANE_LOGF(log, tl_info, "%s and %s", shapes::point{3, 4}, shapes::green);

    CHECK(test.queue.texts() == texts_t{L"a(1;2)3small", L"widename", L"(3;4) and green"});
}

TEST_CASE("an enumeration with an inserter for narrow streams is no number", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << shapes::red << " " << shapes::constants::shade;

    CHECK(test.queue.texts() == texts_t{L"red green"});
}

TEST_CASE("flags, width, precision and fill of a line hold for a narrow inserter, too",
          "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << std::hex << std::showbase << std::setfill(L'*') << std::setw(4)
                              << shapes::point{10, 11} << std::setw(6) << 12;
    TOLVANE_LOG(log, tl_info) << std::setfill('0') << std::setw(3) << 7 << std::setw(5)
                              << shapes::green;

    CHECK(test.queue.texts() == texts_t{L"***(0xa;0xb)***0xc", L"007green"});
}

TEST_CASE("what a narrow manipulator sets holds for the rest of the line", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << shapes::dotted << 10 << " " << 3.14159;
    TOLVANE_LOG(log, tl_info) << 10 << " " << 3.14159;

    CHECK(test.queue.texts() == texts_t{L"......a 3.14", L"10 3.14159"});
}

TEST_CASE("a traced line takes what streams of the standard take", "[trace][narrow]")
{
    const localeguard guard;
    const tracedtest test;
    std::tm date = {};
    date.tm_year = 124;
    date.tm_mday = 1;
    const std::error_code error(2, std::generic_category());
    const std::string quotable = "say \"so\"";
    std::ssub_match match;
    match.first = quotable.begin() + 1;
    match.second = match.first + 2;
    match.matched = true;
    std::stringbuf contents("contents");
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << std::setfill('0') << std::setw(4) << 42;
    TOLVANE_LOG(log, tl_info) << std::quoted(quotable) << std::quoted(L"wide");
    TOLVANE_LOG(log, tl_info) << std::put_time(&date, "%Y-%m-%d") << std::put_time(&date, L"|%Y");
    TOLVANE_LOG(log, tl_info) << std::put_money(1234.0L) << std::put_money(std::string("5678"));
    TOLVANE_LOG(log, tl_info) << error;
    TOLVANE_LOG(log, tl_info) << std::thread::id();
    TOLVANE_LOG(log, tl_info) << std::string_view("narrow") << std::wstring_view(L"wide");
    TOLVANE_LOG(log, tl_info) << match << &contents << nullptr;

    CHECK(test.queue.texts() == texts_t{L"0042", L"\"say \\\"so\\\"\"\"wide\"", L"2024-01-01|2024",
                                        L"12345678", asNarrowStream(error),
                                        asNarrowStream(std::thread::id()), L"narrowwide",
                                        L"aycontents" + asNarrowStream(nullptr)});
}

TEST_CASE("a path is quoted, and one that does not decode throws nothing", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const std::filesystem::path plain("some \"folder\"");
    std::filesystem::path::string_type odd = plain.native();
    odd += static_cast<std::filesystem::path::value_type>(sizeof(odd[0]) == 1 ? 0xFF : 0xD800);

    TOLVANE_LOG(log, tl_info) << plain << 1;
    CHECK_NOTHROW([&] { TOLVANE_LOG(log, tl_info) << std::filesystem::path(odd); }());

    const std::wstring quotedStart = L"\"some \\\"folder\\\"";
    REQUIRE(test.queue.texts().size() == 2);
    CHECK(test.queue.texts()[0] == quotedStart + L"\"1");
    CHECK(test.queue.texts()[1].substr(0, quotedStart.size()) == quotedStart);
    CHECK(test.queue.texts()[1].size() == quotedStart.size() + 2);
}

TEST_CASE("unsigned and signed characters behind a pointer are text", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    unsigned char bytes[] = {'a', 'b', 0, 'c'};
    const signed char letters[] = {'d', 'e'}; // without a NUL
    const unsigned char* const pointer = bytes;

    TOLVANE_LOG(log, tl_info) << bytes << pointer << letters << static_cast<signed char*>(nullptr);

    CHECK(test.queue.texts() == texts_t{L"ababde"});
}

TEST_CASE("a constant member needs no definition to be traced", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << shapes::constants::count << shapes::constants::on;

    CHECK(test.queue.texts() == texts_t{L"71"});
}

TEST_CASE("a narrow inserter that fails spoils its own line only", "[trace][narrow]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a " << shapes::failing() << "lost" << shapes::point{1, 2};
    TOLVANE_LOG(log, tl_info) << "b";

    CHECK(test.queue.texts() == texts_t{L"a before", L"b"});
}

TEST_CASE("what no stream takes is known when the program is compiled", "[trace][narrow]")
{
    CHECK_FALSE(tolvane::isForStreams<shapes::silent>);
    CHECK(tolvane::isForStreams<shapes::point>);
    CHECK(tolvane::isForStreams<shapes::both>);
    CHECK_FALSE(tolvane::isForNarrowStreams<shapes::both>);
}
