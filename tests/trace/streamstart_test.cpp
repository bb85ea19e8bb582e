#include <tolvane/hashedfunction.h>
#include <tolvane/scope.h>

#include "tests/helpers/localeguard.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

// A scope stream is compared with a stream of the standard library.

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

template <class scope_t>
void checkSame()
{
    static const hashedfunction* function = nullptr;
    const heldqueue queue;
    scope_t scope(function, "void f()");
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
    scope.put(L'\n');
    write(plain);

    CHECK(queue.texts() == std::vector<std::wstring>{plain.str()});
}

void checkBoth()
{
    checkSame<traceobject>();
    checkSame<tolvane::scope>();
}

} // namespace

TEST_CASE("a scope stream starts like any stream, whatever the global locale", "[trace]")
{
    const localeguard guard;
    checkBoth();
    for (const wchar_t separator : {L'a', L'b'}) {
        std::locale::global(std::locale(std::locale::classic(), new grouping(separator)));
        checkBoth();
    }
    std::locale::global(std::locale::classic());
    checkBoth();
}
