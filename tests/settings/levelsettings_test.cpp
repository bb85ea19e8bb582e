#include "settings/levelsettings.h"

#include <catch2/catch.hpp>

#include <string>
#include <string_view>

using tolvane::levelsettings;

namespace {

/// The settings of a text in their order, as "name=number"; "malformed" when it is.
std::string settingsOf(std::wstring_view text)
{
    levelsettings settings;
    if (!settings.read(text)) {
        CHECK(settings.all().empty());
        CHECK_FALSE(settings.wrong().empty());
        return "malformed";
    }
    std::string all;
    for (const namedlevel& each : settings.all()) {
        all += (all.empty() ? "" : " ") + std::string(each.name.narrow()) + '=' +
               std::to_string(each.level);
    }
    return all;
}

} // namespace

TEST_CASE("a level is a word, a letter or a number", "[settings]")
{
    CHECK(settingsOf(L"a=always,b=error,c=warning,d=info,e=verbose,f=debug,g=trace") ==
          "a=0 b=1 c=2 d=3 e=4 f=5 g=6");
    CHECK(settingsOf(L"a=!,b=E,c=W,d=I,e=V,f=D,g=T") == "a=0 b=1 c=2 d=3 e=4 f=5 g=6");
    CHECK(settingsOf(L"a=0,b=1,c=2,d=3,e=4,f=5,g=6") == "a=0 b=1 c=2 d=3 e=4 f=5 g=6");
}

TEST_CASE("levels are read in any case, names as they stand", "[settings]")
{
    CHECK(settingsOf(L"Shop=DEBUG,sHop=Info,c=t") == "c=6 Shop=5 sHop=3");
}

TEST_CASE("an asterisk stands for all that has no level of its own", "[settings]")
{
    CHECK(settingsOf(L"*=warning") == "=2");
    CHECK(settingsOf(L"a=info,*=error") == "=1 a=3");
    CHECK(settingsOf(L"a*=info") == "malformed");
}

TEST_CASE("blanks and empty parts are ignored", "[settings]")
{
    CHECK(settingsOf(L"") == "");
    CHECK(settingsOf(L" \t\r\n") == "");
    CHECK(settingsOf(L",, ,") == "");
    CHECK(settingsOf(L" * = warning ,\n shop::order\t=\ttrace , ") == "=2 shop::order=6");
}

TEST_CASE("a name comes before what it contains, and the last of equal ones last", "[settings]")
{
    CHECK(settingsOf(L"a::b::c=1,a::b=2,a=3,*=4") == "=4 a=3 a::b=2 a::b::c=1");
    CHECK(settingsOf(L"a=1,bb=2,a=3,a=2") == "a=1 a=3 a=2 bb=2");
}

TEST_CASE("an operator's name may have equality signs and blanks", "[settings]")
{
    CHECK(settingsOf(L"shop::operator new = debug") == "shop::operator new=5");
    CHECK(settingsOf(L"operator===info") == "operator===3");
    CHECK(settingsOf(L"cooperator=info b=debug") == "malformed");
    CHECK(settingsOf(L"shop::operator===debug") == "shop::operator===5");
}

TEST_CASE("a comma directly behind its keyword is an operator's name", "[settings]")
{
    CHECK(settingsOf(L"shop::money::operator,=debug") == "shop::money::operator,=5");
    CHECK(settingsOf(L"a=1,operator,=2,b=3") == "a=1 b=3 operator,=2");
    CHECK(settingsOf(L"operator, = debug , *=info") == "=3 operator,=5");
    CHECK(settingsOf(L"operator,,a=1") == "malformed");
    CHECK(settingsOf(L"a=1,operator,") == "malformed");
    CHECK(settingsOf(L"cooperator,a=1") == "malformed");
    CHECK(settingsOf(L"operator ,=debug") == "malformed");
}

TEST_CASE("a malformed part spoils all", "[settings]")
{
    for (const wchar_t* const text :
         {L"a", L"=", L"=info", L"a=", L"a=7", L"a=-1", L"a=inf", L"a=infos", L"a=info debug",
          L"a=info b=debug", L"*", L"a=1,b", L"b,a=1", L"a=01", L"shop::*=info", L"**=info",
          L"a=\u0130nfo"}) {
        CHECK(settingsOf(text) == "malformed");
    }
}

TEST_CASE("what is wrong is said of the first malformed part", "[settings]")
{
    levelsettings settings;

    CHECK_FALSE(settings.read(L"a=info, shop , b=loud"));
    CHECK(settings.wrong() == L"\"shop\" has no level");
    CHECK_FALSE(settings.read(L"b=loud"));
    CHECK(settings.wrong() == L"\"b=loud\" has a level that is none of always, error, warning, "
                              L"info, verbose, debug, trace and 0 to 6");
    CHECK_FALSE(settings.read(L"a=info b=debug"));
    CHECK(settings.wrong() == L"\"a=info b=debug\" has a name with a blank, an asterisk or an "
                              L"equality sign, or lacks a comma");
    CHECK_FALSE(settings.read(L"= info"));
    CHECK(settings.wrong() == L"\"= info\" has no name");
    CHECK(settings.read(L"a=info"));
    CHECK(settings.wrong().empty());
    CHECK(settings.all().size() == 1);
}
