#include <tolvane/scope.h>
#include <tolvane/trace.h>

#include "settings/outputsettings.h"
#include "tests/helpers/tracedtest.h"

#include <catch2/catch.hpp>

#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

namespace operators {

/// Whose operators tell whether a sink takes what they trace at tl_debug.
struct money
{
#define TAKES_DEBUG                    \
    {                                  \
        TOLVANE_SCOPE(log);            \
        return log.takesNow(tl_debug); \
    }
    bool operator=(int) TAKES_DEBUG
    bool operator==(int) TAKES_DEBUG
    bool operator!=(int) TAKES_DEBUG
    bool operator<(int) TAKES_DEBUG
    bool operator<=(int) TAKES_DEBUG
    bool operator>(int) TAKES_DEBUG
    bool operator>=(int) TAKES_DEBUG
    bool operator<<(int) TAKES_DEBUG
    bool operator>>(int) TAKES_DEBUG
    bool operator>>=(int) TAKES_DEBUG
    bool operator->*(int) TAKES_DEBUG
    bool operator[](int) TAKES_DEBUG
    bool operator()(int) TAKES_DEBUG
    bool operator+=(int) TAKES_DEBUG
    bool operator,(int) TAKES_DEBUG
    explicit operator bool() TAKES_DEBUG
#undef TAKES_DEBUG
};

/// What each of them tells.
std::vector<bool> told()
{
    money all;
    return {all.operator=(1),  all.operator==(1),  all.operator!=(1),  all.operator<(1),
            all.operator<=(1), all.operator>(1),   all.operator>=(1),  all.operator<<(1),
            all.operator>>(1), all.operator>>=(1), all.operator->*(1), all.operator[](1),
            all.operator()(1), all.operator+=(1),  all.operator,(1),   all.operator bool()};
}

constexpr const wchar_t* names[] = {L"=",  L"==",  L"!=",  L"<",  L"<=", L">",  L">=", L"<<",
                                    L">>", L">>=", L"->*", L"[]", L"()", L"+=", L",",  L" bool"};

} // namespace operators

using operators::names;
using operators::told;

namespace {

/// The one whose name has a level, and no other.
std::vector<bool> only(std::size_t place)
{
    std::vector<bool> all(std::size(names), false);
    all[place] = true;
    return all;
}

std::wstring settingOf(std::size_t place)
{
    return std::wstring(L"operators::money::operator") + names[place] + L"=debug";
}

} // namespace

TEST_CASE("a text sets the level of any operator, and of no other", "[settings][operators]")
{
    const tracedtest test;
    for (std::size_t place = 0; place < std::size(names); ++place) {
        const std::wstring text = settingOf(place);
        CAPTURE(tolvane::string(text).narrow());

        CHECK(trace::setLevels(L"*=info, " + text + L",another=error"));

        CHECK(told() == only(place));
        trace::clearLevels("operators");
    }
}

TEST_CASE("so does one for a destination", "[settings][operators]")
{
    for (std::size_t place = 0; place < std::size(names); ++place) {
        const std::wstring text = settingOf(place);
        CAPTURE(tolvane::string(text).narrow());
        tolvane::outputsettings settings;

        CHECK(settings.read(text + L",another=error>file:a>b; *=info"));

        REQUIRE(settings.all().size() == 2);
        const auto& levels = settings.all()[0].levels.all();
        REQUIRE(levels.size() == 2);
        CHECK(levels[1].name == tolvane::string(text.substr(0, text.rfind(L'='))));
        CHECK(levels[1].level == tl_debug);
        CHECK(settings.all()[0].to.path == tolvane::string("a>b"));
    }
}
