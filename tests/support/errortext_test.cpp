#include "support/errortext.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cerrno>

TEST_CASE("an error has words of its own, on one line and without a full stop", "[support]")
{
    const std::wstring one = tolvane::errorText(2); // there is no such file, everywhere
    const std::wstring other = tolvane::errorText(5);

    CHECK(one.size() > 3);
    CHECK(other.size() > 3);
    CHECK(one != other);
    CHECK(std::count(one.begin(), one.end(), L'\n') == 0);
    CHECK(one.back() != L'.');
}

TEST_CASE("an error that nobody knows has its number", "[support]")
{
    CHECK(tolvane::errorText(7654321).find(L"7654321") != std::wstring::npos);
}
