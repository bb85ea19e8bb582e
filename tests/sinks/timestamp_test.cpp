#include "sinks/timestamp.h"

#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <new>
#include <random>
#include <string>

namespace {

/// 2024-03-05 14:07:09.045.
constexpr unsigned long long sampleTime = 1709647629045;

std::wstring stamp(unsigned long long milliseconds, const wchar_t* format = L"")
{
    const tolvane::string text = formatTime(milliseconds, format);
    return std::wstring(text.c_str(), static_cast<std::size_t>(text.length()));
}

} // namespace

TEST_CASE("a time stamp is the date, the time and three digits of milliseconds", "[sinks]")
{
    CHECK(stamp(sampleTime) == L"2024-03-05 14:07:09.045");
    CHECK(stamp(0) == L"1970-01-01 00:00:00.000");
    CHECK(stamp(951782399999) == L"2000-02-28 23:59:59.999");
    CHECK(stamp(951782400000) == L"2000-02-29 00:00:00.000");
    CHECK(stamp(4102444799999) == L"2099-12-31 23:59:59.999");
}

TEST_CASE("milliseconds are filled with zeros on the left", "[sinks]")
{
    CHECK(stamp(5, L"%u") == L"005");
    CHECK(stamp(45, L"%u") == L"045");
    CHECK(stamp(456, L"%u") == L"456");
    CHECK(stamp(1000, L"%u") == L"000");
    CHECK(stamp(61007, L"%S.%u") == L"01.007");
}

TEST_CASE("milliseconds may stand anywhere in a format, and more than once", "[sinks]")
{
    CHECK(stamp(sampleTime, L"%u %H") == L"045 14");
    CHECK(stamp(sampleTime, L"%H %u") == L"14 045");
    CHECK(stamp(sampleTime, L"%u%u") == L"045045");
    CHECK(stamp(sampleTime, L"%u%u%M%u%u") == L"0450450704"
                                              L"5045");
    CHECK(stamp(sampleTime, L"%H-%u-%M-%u-") == L"14-045-07-045-");
}

TEST_CASE("other specifiers keep their meaning, other text stays", "[sinks]")
{
    CHECK(stamp(sampleTime, L"%d.%m.%y") == L"05.03.24");
    CHECK(stamp(sampleTime, L"%j") == L"065");
    CHECK(stamp(sampleTime, L"plain text") == L"plain text");
    CHECK(stamp(sampleTime, L"100%%") == L"100%");
    CHECK(stamp(sampleTime, L"  %H  ") == L"  14  ");
}

TEST_CASE("a part that renders to nothing adds nothing", "[sinks]")
{
    CHECK(stamp(sampleTime, L"%Z%u").substr(0, 1000).find(L"045") != std::wstring::npos);
}

TEST_CASE("a part that renders to far more than its own length is whole", "[sinks]")
{
    std::wstring format;
    std::wstring expected;
    for (int i = 0; i < 400; ++i) {
        format += L"%Y";
        expected += L"2024";
    }

    CHECK(stamp(sampleTime, format.c_str()) == expected);
    CHECK(stamp(sampleTime, (format + L"%u" + format).c_str()) == expected + L"045" + expected);
}

TEST_CASE("a name that is longer than its specifier is whole", "[sinks]")
{
    const unsigned long long day = 86400000;
    CHECK(stamp(sampleTime, L"%A") == L"Tuesday");
    CHECK(stamp(sampleTime + day, L"%A") == L"Wednesday");
    CHECK(stamp(sampleTime, L"%B %u") == L"March 045");
    CHECK(stamp(sampleTime + 180 * day, L"%B") == L"September");
}

TEST_CASE("a time that no calendar has still gives a stamp with its milliseconds", "[sinks]")
{
    for (const unsigned long long time : {~0ULL, 1ULL << 63, 400000000000000ULL}) {
        const std::wstring text = stamp(time);

        CHECK(text.size() >= 23);
        CHECK(text.substr(text.size() - 4, 1) == L".");
        CHECK(text.substr(text.size() - 3) == std::to_wstring(1000 + time % 1000).substr(1));
    }
}

TEST_CASE("the lines' own rendering of a time gives what the general one gives", "[sinks]")
{
    timestamp shown; // one for all times, as for the lines of a pass
    const auto check = [&shown](unsigned long long time) {
        for (const unsigned long long each : {time, time ^ 1}) { // mostly in the same second
            if (shown.show(each) != stamp(each)) {
                CHECK(std::wstring(shown.show(each)) == stamp(each));
            }
        }
    };
    constexpr unsigned long long day = 86400000;
    constexpr unsigned long long lastOfAll =
        32535215999999; // what every calendar has: until the year 3000
    constexpr unsigned long long lastOfFourDigits = 253402300799999;
    for (unsigned long long time = 0; time < 500 * 366 * day; time += 7 * day) {
        check(time);
        check(time + day - 1);
    }
    for (unsigned long long time = 951696000000; time < 951696000000 + 800 * day; time += day) {
        check(time); // around a leap day and a common year
        check(time - 1);
    }
    std::mt19937_64 random(1970);
    for (int i = 0; i < 5000; ++i) {
        check(random() % lastOfAll);
    }
    for (const unsigned long long time : {lastOfAll, lastOfFourDigits + 1, ~0ULL, 1ULL << 63}) {
        check(time);
    }

    CHECK(shown.show(lastOfFourDigits) == L"9999-12-31 23:59:59.999");
    CHECK(shown.show(sampleTime) == L"2024-03-05 14:07:09.045");
}

TEST_CASE("a time stamp that runs out of memory throws", "[sinks]")
{
    const unsigned long long time = sampleTime;
    bool thrown = false;
    try {
        const allocations::failure failure;
        formatTime(time, tolvane::string());
    } catch (const std::bad_alloc&) {
        thrown = true;
    }

    CHECK(thrown);
}
