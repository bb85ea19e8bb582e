#include <tolvane/format.h>
#include <tolvane/scope.h>

#include "tests/helpers/tracedtest.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

// Constants that are nowhere defined: a program that asks for their addresses does not link.

namespace {

using texts_t = std::vector<std::wstring>;

enum colour
{
    red,
    green,
};

struct constants
{
    static const int count = 7;
    static const bool isOn = true;
    static const char letter = 'x';
    static const unsigned long long many = 1ULL << 40;
    static const colour shade = green;
    static const tracelevel_t level = tl_info;
};

} // namespace

TEST_CASE("a constant member needs no definition to be an operand", "[trace][constants]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, constants::level) << constants::count << constants::isOn << constants::letter
                                       << constants::many << constants::shade;
    TOLVANE_HERE(constants::level) << constants::count;

    CHECK(test.queue.texts() == texts_t{L"71x10995116277761", L"7"});
}

TEST_CASE("a constant member needs no definition to be an argument of a format",
          "[trace][constants]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const std::string name = "lamps";

    TOLVANE_LOGF(log, constants::level, "%d %s %*u %c %d %d", constants::count, name,
                 constants::count, 3U, constants::letter, constants::isOn, constants::shade);
    TOLVANE_LOGF(log, constants::level, L"%llx", constants::many);

    CHECK(test.queue.texts() == texts_t{L"7 lamps       3 x 1 1", L"10000000000"});
}

TEST_CASE("a constant member needs no definition to be an argument of a format with braces",
          "[trace][constants]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const std::string name = "lamps";

    TOLVANE_FMT(log, constants::level, "{} {} {:x} {}", constants::count, name, constants::many,
                constants::isOn);
    TOLVANE_FMT(log, constants::level, tolvane::atRuntime("{1} {0}"), name, constants::letter);

    CHECK(test.queue.texts() == texts_t{L"7 lamps 10000000000 true", L"x lamps"});
}

TEST_CASE("a constant member needs no definition to count a statement's lines",
          "[trace][constants]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG_FIRST_N(log, tl_info, constants::count) << "first";
    TOLVANE_LOG_EVERY_N(log, tl_info, constants::count) << "every";
    TOLVANE_LOG_EVERY_MS(log, tl_info, constants::many) << "due";

    CHECK(test.queue.texts() == texts_t{L"first", L"every", L"due"});
}
