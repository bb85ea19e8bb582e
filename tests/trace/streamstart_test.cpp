#include <tolvane/hashedfunction.h>
#include <tolvane/traceobject.h>

#include "tests/helpers/localeguard.h"
#include "tests/helpers/traceobjecttest.h"

#include <catch2/catch.hpp>

#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

// A scope stream starts with what was found out about the global locale before. Here it is compared
// with a stream that the standard library starts.

namespace {

/// Groups digits by three and separates them by a character.
class grouping : public std::numpunct<wchar_t>
{
public:
    explicit grouping(wchar_t separator) : m_separator(separator) {}

private:
    wchar_t do_thousands_sep() const override { return m_separator; }
    std::string do_grouping() const override { return "\3"; }

    wchar_t m_separator;
};

void write(std::wostream& stream)
{
    stream << 1234567 << L'|' << std::setw(10) << 42 << L'|' << std::setfill(L'.') << std::setw(6)
           << L"ab" << L'|' << 1.5 << L'|' << 1.23456789 << L'|' << true << L'|' << std::hex
           << std::showbase << 255 << L'|' << stream.precision() << L'|' << stream.widen('x')
           << L'|' << stream.fill();
}

void checkSame()
{
    static const hashedfunction* function = nullptr;
    traceobject scope(function, "void f()");
    std::wostringstream plain;

    CHECK(scope.flags() == plain.flags());
    CHECK(scope.precision() == plain.precision());
    CHECK(scope.width() == plain.width());
    CHECK(scope.fill() == plain.fill());
    CHECK(scope.rdstate() == plain.rdstate());
    CHECK(scope.exceptions() == plain.exceptions());
    CHECK(scope.tie() == plain.tie());
    CHECK(scope.getloc() == plain.getloc());
    CHECK(scope.rdbuf() != nullptr);
    CHECK(scope.rdbuf()->getloc() == plain.rdbuf()->getloc());

    write(scope);
    write(plain);

    CHECK(traceobjecttest::line(scope) == plain.str());
}

} // namespace

TEST_CASE("a scope stream starts like any stream, whatever the global locale", "[trace]")
{
    const localeguard guard;
    checkSame();
    for (wchar_t separator = L'a'; separator <= L'p';
         ++separator) { // more locales than are remembered
        std::locale::global(std::locale(std::locale::classic(), new grouping(separator)));
        checkSame();
    }
    std::locale::global(std::locale::classic());
    checkSame();
}
