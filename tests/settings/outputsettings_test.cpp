#include "settings/outputsettings.h"

#include <catch2/catch.hpp>

#include <string>
#include <string_view>

using tolvane::destination;
using tolvane::outputsettings;

namespace {

std::string shown(const destination& to)
{
    switch (to.kind) {
    case destination::standardOutput:
        return "out";
    case destination::standardError:
        return "err";
    case destination::file:
        return "file(" + std::string(to.path.narrow()) + ")";
    case destination::jsonFile:
        return "json(" + std::string(to.path.narrow()) + ")";
    case destination::rotatingFile:
        return "rotating(" + std::string(to.path.narrow()) + "," + std::to_string(to.files) + "," +
               std::to_string(to.maxsize) + ")";
    }
    return "?";
}

/// The entries in their order, as "name=number>destination"; what is wrong when there is such.
std::string entriesOf(std::wstring_view text)
{
    outputsettings settings;
    if (!settings.read(text)) {
        CHECK(settings.all().empty());
        return tolvane::string(settings.wrong()).narrow();
    }
    CHECK(settings.wrong().empty());
    std::string all;
    for (const outputsettings::entry& each : settings.all()) {
        all += all.empty() ? "" : " ";
        for (const namedlevel& level : each.levels.all()) {
            all += std::string(level.name.narrow()) + '=' + std::to_string(level.level) + ' ';
        }
        all += '>' + shown(each.to);
    }
    return all;
}

} // namespace

TEST_CASE("an entry has levels and a destination", "[settings][output]")
{
    CHECK(entriesOf(L"*=info > stdout") == "=3 >out");
    CHECK(entriesOf(L"*=info > stderr") == "=3 >err");
    CHECK(entriesOf(L"*=info,shop=trace > file:shop.log") == "=3 shop=6 >file(shop.log)");
    CHECK(entriesOf(L"*=info > json:shop.json") == "=3 >json(shop.json)");
    CHECK(entriesOf(L"*=info > JSON:C:\\a.json") == "=3 >json(C:\\a.json)");
    CHECK(entriesOf(L"*=info > rotating:shop.log:5:1024") == "=3 >rotating(shop.log,5,1024)");
}

TEST_CASE("without a destination lines go to standard error", "[settings][output]")
{
    CHECK(entriesOf(L"*=error") == "=1 >err");
    CHECK(entriesOf(L"*=info > file:a; *=error") == "=3 >file(a) =1 >err");
}

TEST_CASE("semicolons and line feeds separate entries, and empty ones are skipped",
          "[settings][output]")
{
    CHECK(entriesOf(L"") == "");
    CHECK(entriesOf(L" ;; \r\n\t;") == "");
    CHECK(entriesOf(L"*=info>stdout\r\n\r\na=debug>file:b\n;c=error;") ==
          "=3 >out a=5 >file(b) c=1 >err");
}

TEST_CASE("blanks around the parts of an entry do not matter", "[settings][output]")
{
    CHECK(entriesOf(L"  * = info  >  file : my log.txt  ") == "=3 >file(my log.txt)");
    CHECK(entriesOf(L"*=info>rotating : a b : 3 : 64 ") == "=3 >rotating(a b,3,64)");
    CHECK(entriesOf(L"*=info>\tSTDERR\t;a=1> StdOut;b=2>FILE:X") ==
          "=3 >err a=1 >out b=2 >file(X)");
}

TEST_CASE("a path may have colons", "[settings][output]")
{
    CHECK(entriesOf(L"*=info > file:C:\\logs\\a.log") == "=3 >file(C:\\logs\\a.log)");
    CHECK(entriesOf(L"*=info > rotating:C:\\a.log:5:10") == "=3 >rotating(C:\\a.log,5,10)");
    CHECK(entriesOf(L"*=info > rotating:a:1:2:3:4") == "=3 >rotating(a:1:2,3,4)");
}

TEST_CASE("a path may have the sign, and so may an operator's name", "[settings][output]")
{
    CHECK(entriesOf(L"*=info > file:a>b") == "=3 >file(a>b)");
    CHECK(entriesOf(L"a::operator>=info > stdout") == "a::operator>=3 >out");
    CHECK(entriesOf(L"operator>>=info") == "operator>>=3 >err");
    CHECK(entriesOf(L"a::operator-> = 5>stdout") == "a::operator->=5 >out");
    CHECK(entriesOf(L"a::operator<=> = 5>stdout") == "a::operator<=>=5 >out");
    CHECK(entriesOf(L"a=1,operator>=2>stdout") == "a=1 operator>=2 >out");
    CHECK(entriesOf(L"operator>>==2>stdout") == "operator>>==2 >out");
    CHECK(entriesOf(L"operator,=2,operator()=1>stdout;operator,=3") ==
          "operator,=2 operator()=1 >out operator,=3 >err");
}

TEST_CASE("of entries for one destination the last counts", "[settings][output]")
{
    CHECK(entriesOf(L"*=info; *=error > stdout; a=debug > stderr") == "=1 >out a=5 >err");
    CHECK(entriesOf(L"*=info > file:a; *=error > file:b; *=debug > file:a") ==
          "=1 >file(b) =5 >file(a)");
    CHECK(entriesOf(L"*=info > json:a; *=error > rotating:a:2:3; *=debug > file:a") ==
          "=5 >file(a)");
}

TEST_CASE("what is wrong with an entry is said with the entry", "[settings][output]")
{
    const std::string none =
        "the destination is none of stdout, stderr, file:PATH, rotating:PATH:FILES:KIB "
        "and json:PATH";
    const std::string figures =
        "behind the path of rotating files, their number and their size in KiB are missing";

    CHECK(entriesOf(L"a=1; shop > stdout ;c") == "\"shop > stdout\": \"shop\" has no level");
    CHECK(entriesOf(L"*=info > disk:a") == "\"*=info > disk:a\": " + none);
    CHECK(entriesOf(L"*=info >") == "\"*=info >\": " + none);
    CHECK(entriesOf(L"*=info > stderr:a") == "\"*=info > stderr:a\": " + none);
    CHECK(entriesOf(L"*=info > file: ") == "\"*=info > file:\": the file has no path");
    CHECK(entriesOf(L"*=info > rotating::5:1") ==
          "\"*=info > rotating::5:1\": the file has no path");
    for (const wchar_t* const files : {L"a", L"a:5", L"a:5:", L"a:5:x", L"a:-5:1", L"a:5:1k",
                                       L"a:5:99999999999999999999", L"5:1"}) {
        const std::wstring entry = std::wstring(L"*=1>rotating:") + files;
        CHECK(entriesOf(entry) ==
              "\"" + std::string(tolvane::string(entry).narrow()) + "\": " + figures);
    }
    CHECK(entriesOf(L"> stdout") == "\"> stdout\": there are no levels");
    CHECK(entriesOf(L" , ,") == "\", ,\": there are no levels");
}
