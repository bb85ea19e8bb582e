#include <tolvane/hashedfunction.h>

#include "function/componenthash.h"
#include "function/hashedname.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/hashedfunctiontest.h"

#include <catch2/catch.hpp>

#include <cstring>
#include <new>
#include <string>
#include <type_traits>

namespace {

static_assert(!std::is_polymorphic_v<hashedfunction>);

std::wstring nameOf(const hashedfunction& function)
{
    return std::wstring(function.name().c_str(),
                        static_cast<std::size_t>(function.name().length()));
}

} // namespace

TEST_CASE("a function has the name from its signature, and the name's chain", "[function]")
{
    const hashedfunction function("void __cdecl stacktrace::FaultHandler(const class string &)");

    CHECK(nameOf(function) == L"stacktrace::FaultHandler");
    const hashedname* key = function.key();
    CHECK(key->hash == componentHash(L"stacktrace", 10));
    CHECK(key->next->hash == componentHash(L"FaultHandler", 12));
    CHECK(key->next->next->isTerminator());
}

TEST_CASE("a function's name comes first in it, its chain behind, its remembered level last",
          "[function]")
{
    const hashedfunction function("f(int)");
    const hashedname* chain = nullptr;
    std::memcpy(&chain, reinterpret_cast<const unsigned char*>(&function) + sizeof(tolvane::string),
                sizeof chain);

    CHECK(static_cast<const void*>(&function.name()) == static_cast<const void*>(&function));
    CHECK(chain == function.key());
    CHECK(sizeof(hashedfunction) == sizeof(tolvane::string) + sizeof(hashedname*) + 8);
}

TEST_CASE("an empty signature gives an empty name and a lone terminator", "[function]")
{
    for (const char* const signature : {"", static_cast<const char*>(nullptr)}) {
        const hashedfunction function(signature);

        CHECK(function.name().empty());
        REQUIRE(function.key() != nullptr);
        CHECK(function.key()->isTerminator());
    }
}

TEST_CASE("a plain qualified name is kept whole", "[function]")
{
    CHECK(nameOf(hashedfunction("ns::cls::run")) == L"ns::cls::run");
    CHECK(nameOf(hashedfunction("main")) == L"main");
}

TEST_CASE("the name operation gives the name as a wide text", "[function]")
{
    const tolvane::string name = hashedfunctiontest::functionname("void ns::f(int)");

    CHECK(std::wstring(name.c_str()) == L"ns::f");
    CHECK(hashedfunctiontest::functionname(nullptr).empty());
    CHECK(hashedfunctiontest::functionname("").empty());
}

TEST_CASE("functions of one signature are two objects of equal chains", "[function]")
{
    const hashedfunction first("void ns::f(int)");
    const hashedfunction second("void ns::f(int)");

    CHECK(first.key() != second.key());
    CHECK(first.key()->hash == second.key()->hash);
    CHECK(first.key()->next->hash == second.key()->next->hash);
    CHECK(nameOf(first) == nameOf(second));
}

TEST_CASE("a function that runs out of memory throws and leaves nothing behind", "[function]")
{
    int thrown = 0;

    for (unsigned long long after = 0; after < 6; ++after) {
        const allocations::failure failure(after);
        try {
            const hashedfunction function("void a_long_namespace::and_a_long_name(int)");
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }

    CHECK(thrown == 6);
}
