#include <tolvane/format.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/tracedtest.h"

#include <catch2/catch.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

struct throwing
{};

} // namespace

template <>
struct TOLVANE_FORMATTER::formatter<throwing> : TOLVANE_FORMATTER::formatter<int>
{
    template <class context_t>
    auto format(const throwing&, context_t& context) const -> decltype(context.out())
    {
        throw std::runtime_error("no text");
    }
};

TEST_CASE("a format with braces is written with its arguments", "[trace][format]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const std::string name = "pencils";

    TOLVANE_FMT(log, tl_info, "{} of {:>9}|{:<9}|", 3, name, "blue");
    TOLVANE_FMT(log, tl_info, "{1:#x} {0:.2f} {{}}", 0.5, 255);
    TOLVANE_FMT(log, tl_info, "alone");

    CHECK(test.queue.texts() == texts_t{L"3 of   pencils|blue     |", L"0xff 0.50 {}", L"alone"});
}

TEST_CASE("a format with braces evaluates nothing for a line that no sink takes", "[trace][format]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    int asked = 0;

    TOLVANE_FMT(log, tl_verbose, "{}", ++asked);

    CHECK(asked == 0);
    CHECK(test.queue.texts().empty());
}

TEST_CASE("a line says what is wrong with its format", "[trace][format]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const std::string unfinished = "{";

    TOLVANE_FMT(log, tl_info, tolvane::atRuntime(unfinished), 1);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime("{} {}"), 1);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime("{} {}"), 1, "fits");
    TOLVANE_FMT(log, tl_info, "{}", throwing());

    const texts_t texts = test.queue.texts();
    REQUIRE(texts.size() == 4);
    CHECK(texts[0].find(L"cannot format: ") == 0);
    CHECK(texts[1].find(L"cannot format: ") == 0);
    CHECK(texts[2] == L"1 fits");
    CHECK(texts[3] == L"cannot format: no text");
}

TEST_CASE("without memory for a formatted text the line is an empty one", "[trace][format]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    bool threw = false;
    TOLVANE_FMT(log, tl_info, "{}", "first");

    try {
        const allocations::failure failing;
        TOLVANE_FMT(log, tl_info, "{:>2000}", "text");
    } catch (...) {
        threw = true;
    }
    TOLVANE_FMT(log, tl_info, "{}", "next");

    CHECK_FALSE(threw);
    CHECK(test.queue.texts().back() == L"next");
}
