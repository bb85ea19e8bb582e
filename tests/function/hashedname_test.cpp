#include "function/hashedname.h"

#include "function/componenthash.h"
#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace {

static_assert(sizeof(hashedname) == 16);
static_assert(std::is_same_v<decltype(hashedname::hash), long long>);

long long hashOf(const std::wstring& component)
{
    return componentHash(component.c_str(), component.size());
}

std::vector<long long> hashesOf(const hashedname* chain)
{
    std::vector<long long> hashes;
    for (; !chain->isTerminator(); chain = chain->next) {
        hashes.push_back(chain->hash);
    }
    return hashes;
}

std::vector<long long> hashesOf(const wchar_t* name)
{
    const namechain chain(name);
    return hashesOf(chain.first());
}

std::vector<long long> hashesOf(const std::vector<std::wstring>& components)
{
    std::vector<long long> hashes;
    for (const std::wstring& component : components) {
        hashes.push_back(hashOf(component));
    }
    return hashes;
}

} // namespace

TEST_CASE("an empty name is a lone terminator", "[function]")
{
    const namechain chain(L"");

    CHECK(chain.first()->isTerminator());
    CHECK(chain.first()->hash == 0);
    CHECK(chain.first()->next == nullptr);
}

TEST_CASE("a name gives a node for each component, and a terminator", "[function]")
{
    const namechain chain(L"a::bc::d");

    CHECK(hashesOf(chain.first()) == hashesOf({L"a", L"bc", L"d"}));
    const hashedname* const terminator = chain.first()->next->next->next;
    CHECK(terminator->hash == 0);
    CHECK(terminator->next == nullptr);
}

TEST_CASE("a name is split at each pair of colons, from the left", "[function]")
{
    const struct
    {
        const wchar_t* name;
        std::vector<std::wstring> components;
    } table[] = {
        {L"a", {L"a"}},
        {L"a::", {L"a"}},
        {L"a::b::", {L"a", L"b"}},
        {L"::a", {L"", L"a"}},
        {L"::", {L""}},
        {L"::::", {L"", L""}},
        {L"a::::b", {L"a", L"", L"b"}},
        {L"a::::", {L"a", L""}},
        {L":", {L":"}},
        {L"a:b", {L"a:b"}},
        {L"a:::b", {L"a", L":b"}},
        {L":::", {L"", L":"}},
        {L"a:", {L"a:"}},
        {L"foo::::operator ()", {L"foo", L"", L"operator ()"}},
        {L"a :: b", {L"a ", L" b"}},
    };

    for (const auto& line : table) {
        CHECK(hashesOf(line.name) == hashesOf(line.components));
    }
}

TEST_CASE("components that differ in letter case only have other hashes", "[function]")
{
    CHECK(hashesOf(L"ns::Name") != hashesOf(L"ns::name"));
}

TEST_CASE("removing the last component makes it the terminator and gives its hash", "[function]")
{
    const namechain chain(L"a::b::c");

    CHECK(hashedname::removeLast(chain.first()) == hashOf(L"c"));
    CHECK(hashesOf(chain.first()) == hashesOf({L"a", L"b"}));
    CHECK(chain.first()->next->next->hash == hashOf(L"c"));
    CHECK(hashedname::removeLast(chain.first()) == hashOf(L"b"));
    CHECK(hashedname::removeLast(chain.first()) == hashOf(L"a"));
    CHECK(chain.first()->isTerminator());
}

TEST_CASE("removing from a chain without components gives 0 and leaves it", "[function]")
{
    const namechain chain(L"");
    const namechain emptied(L"a");
    hashedname::removeLast(emptied.first());

    CHECK(hashedname::removeLast(chain.first()) == 0);
    CHECK(chain.first()->isTerminator());
    CHECK(hashedname::removeLast(emptied.first()) == 0);
}

TEST_CASE("destroying no chain does nothing", "[function]")
{
    CHECK_NOTHROW(hashedname::destroy(nullptr));
}

TEST_CASE("a very long name is built and freed without recursion", "[function]")
{
    std::wstring name;
    for (int i = 0; i < 200000; ++i) {
        name += L"a::";
    }

    CHECK(hashesOf(name.c_str()).size() == 200000);
}

TEST_CASE("a chain that runs out of memory is freed as far as it was built", "[function]")
{
    const tolvane::string name(L"a::b::c");
    bool thrown = false;

    for (unsigned long long after = 0; after < 4; ++after) {
        const allocations::failure failure(after); // what leaks, the address sanitizer reports
        try {
            const namechain chain(name);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }

    CHECK(thrown);
}
