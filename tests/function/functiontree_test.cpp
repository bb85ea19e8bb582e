#include "function/functiontree.h"

#include "tests/helpers/allocations.h"
#include "tests/helpers/foreignthread.h"
#include "tests/helpers/sanitizer.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <type_traits>

namespace {

using leveltree = hashedfunctiontree<tracelevel_t>;

static_assert(std::is_base_of_v<uifunctiontree, leveltree>);
static_assert(std::has_virtual_destructor_v<uifunctiontree>);
static_assert(sizeof(tracelevel_t) == 4);
static_assert(std::is_same_v<decltype(functiontreenode::children)::key_type, long long>);
static_assert(std::is_same_v<decltype(functiontreenode::children)::mapped_type, functiontreenode>);

tracelevel_t levelOf(const leveltree& tree, const wchar_t* name)
{
    const namechain chain(name);
    return tree.lookup(chain.first());
}

} // namespace

TEST_CASE("a new tree gives every function level 0", "[function]")
{
    const leveltree tree;

    CHECK(levelOf(tree, L"") == tl_always);
    CHECK(levelOf(tree, L"a") == tl_always);
    CHECK(levelOf(tree, L"a::b::c") == tl_always);
}

TEST_CASE("a level without a name is every function's, the empty name included", "[function]")
{
    leveltree tree;

    tree.set(tl_info, L"");

    CHECK(levelOf(tree, L"") == tl_info);
    CHECK(levelOf(tree, L"a") == tl_info);
    CHECK(levelOf(tree, L"a::b") == tl_info);
}

TEST_CASE("a level of a name is that of all beneath it, and of nothing beside it", "[function]")
{
    leveltree tree;
    tree.set(tl_error, L"");

    tree.set(tl_debug, L"a");

    CHECK(levelOf(tree, L"a") == tl_debug);
    CHECK(levelOf(tree, L"a::b") == tl_debug);
    CHECK(levelOf(tree, L"a::b::c") == tl_debug);
    CHECK(levelOf(tree, L"b") == tl_error);
    CHECK(levelOf(tree, L"b::a") == tl_error);
    CHECK(levelOf(tree, L"ab") == tl_error);
    CHECK(levelOf(tree, L"") == tl_error);
}

TEST_CASE("the deepest setting on a function's path wins", "[function]")
{
    leveltree tree;

    tree.set(tl_debug, L"a::b");
    tree.set(tl_warning, L"a");
    tree.set(tl_trace, L"a::b::c");

    CHECK(levelOf(tree, L"a") == tl_warning);
    CHECK(levelOf(tree, L"a::c") == tl_warning);
    CHECK(levelOf(tree, L"a::b") == tl_debug);
    CHECK(levelOf(tree, L"a::b::d") == tl_debug);
    CHECK(levelOf(tree, L"a::b::c") == tl_trace);
    CHECK(levelOf(tree, L"a::b::c::d") == tl_trace);
}

TEST_CASE("a level on the way to a name is its own parent's at that moment, and stays",
          "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"");

    tree.set(tl_debug, L"a::b");
    tree.set(tl_info, L"");

    CHECK(levelOf(tree, L"a::c") == tl_warning);
    CHECK(levelOf(tree, L"a") == tl_warning);
    CHECK(levelOf(tree, L"a::b") == tl_debug);
    CHECK(levelOf(tree, L"b") == tl_info);
}

TEST_CASE("a new node copies the level of its parent, not of the root", "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"");
    tree.set(tl_verbose, L"a");

    tree.set(tl_trace, L"a::b::c::d");
    tree.set(tl_error, L"a");

    CHECK(levelOf(tree, L"a::b") == tl_verbose);
    CHECK(levelOf(tree, L"a::b::c") == tl_verbose);
    CHECK(levelOf(tree, L"a::b::c::d") == tl_trace);
    CHECK(levelOf(tree, L"a::x") == tl_error);
}

TEST_CASE("a name is set anew by the same call", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");

    tree.set(tl_error, L"a::b");

    CHECK(levelOf(tree, L"a::b") == tl_error);
}

TEST_CASE("any integer is a level, a negative one stays negative", "[function]")
{
    leveltree tree;

    tree.set(static_cast<tracelevel_t>(-3), L"a");
    tree.set(static_cast<tracelevel_t>(70000), L"b");

    CHECK(levelOf(tree, L"a") == -3);
    CHECK(levelOf(tree, L"b") == 70000);
}

TEST_CASE("clearing a name removes it with all beneath it", "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"a");
    tree.set(tl_debug, L"a::b");
    tree.set(tl_trace, L"a::b::c");
    tree.set(tl_info, L"a::d");

    tree.clear(L"a::b");

    CHECK(levelOf(tree, L"a::b") == tl_warning);
    CHECK(levelOf(tree, L"a::b::c") == tl_warning);
    CHECK(levelOf(tree, L"a::d") == tl_info);
    CHECK(levelOf(tree, L"a") == tl_warning);
}

TEST_CASE("clearing a name of one component leaves the others", "[function]")
{
    leveltree tree;
    tree.set(tl_error, L"");
    tree.set(tl_debug, L"a::b");
    tree.set(tl_trace, L"c");

    tree.clear(L"a");
    tree.clear(L"unknown");

    CHECK(levelOf(tree, L"a::b") == tl_error);
    CHECK(levelOf(tree, L"c") == tl_trace);
}

TEST_CASE("clearing a deep name removes its last component only", "[function]")
{
    leveltree tree;
    tree.set(tl_error, L"a");
    tree.set(tl_warning, L"a::b");
    tree.set(tl_info, L"a::b::c");
    tree.set(tl_debug, L"a::b::c::d");
    tree.set(tl_trace, L"a::b::x");

    tree.clear(L"a::b::c::d");

    CHECK(levelOf(tree, L"a::b::c::d") == tl_info);
    CHECK(levelOf(tree, L"a::b::c") == tl_info);
    CHECK(levelOf(tree, L"a::b::x") == tl_trace);
}

TEST_CASE("clearing the empty name removes everything but the root's level", "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"");
    tree.set(tl_debug, L"a::b");
    tree.set(tl_trace, L"c");

    tree.clear(L"");

    CHECK(levelOf(tree, L"") == tl_warning);
    CHECK(levelOf(tree, L"a") == tl_warning);
    CHECK(levelOf(tree, L"a::b") == tl_warning);
    CHECK(levelOf(tree, L"c") == tl_warning);
}

TEST_CASE("clearing a name makes the missing names above it, with their parents' levels",
          "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"");

    tree.clear(L"a::b::c");
    tree.set(tl_trace, L"");

    CHECK(levelOf(tree, L"a") == tl_warning);
    CHECK(levelOf(tree, L"a::b") == tl_warning);
    CHECK(levelOf(tree, L"a::b::c") == tl_warning);
    CHECK(levelOf(tree, L"b") == tl_trace);
}

TEST_CASE("clearing a name of one component makes nothing", "[function]")
{
    leveltree tree;
    tree.set(tl_warning, L"");

    tree.clear(L"a");
    tree.set(tl_trace, L"");

    CHECK(levelOf(tree, L"a") == tl_trace);
}

TEST_CASE("a trailing pair of colons names the same node", "[function]")
{
    leveltree tree;

    tree.set(tl_debug, L"a::b::");
    CHECK(levelOf(tree, L"a::b") == tl_debug);

    tree.clear(L"a::b::");
    CHECK(levelOf(tree, L"a::b") == tl_always);

    tree.set(tl_debug, L"c");
    tree.clear(L"c::");
    CHECK(levelOf(tree, L"c") == tl_always);
}

TEST_CASE("a leading pair of colons is another name", "[function]")
{
    leveltree tree;

    tree.set(tl_debug, L"::a");

    CHECK(levelOf(tree, L"a") == tl_always);
    CHECK(levelOf(tree, L"::a") == tl_debug);
}

TEST_CASE("names that differ in letter case only are different", "[function]")
{
    leveltree tree;

    tree.set(tl_debug, L"Ns::f");

    CHECK(levelOf(tree, L"ns::f") == tl_always);
    CHECK(levelOf(tree, L"Ns::F") == tl_always);
}

TEST_CASE("a name is taken as it stands, not as a signature", "[function]")
{
    leveltree tree;

    tree.set(tl_debug, L"void f(int)");

    CHECK(levelOf(tree, L"f") == tl_always);
    CHECK(levelOf(tree, L"void f(int)") == tl_debug);
}

TEST_CASE("a copied tree is independent of its source, at every depth", "[function]")
{
    leveltree source;
    source.set(tl_error, L"");
    source.set(tl_debug, L"a::b");
    leveltree target;
    target.set(tl_trace, L"old");

    target.assign(source);
    source.set(tl_warning, L"a::b");
    source.clear(L"a");
    source.set(tl_info, L"");

    CHECK(levelOf(target, L"a::b") == tl_debug);
    CHECK(levelOf(target, L"a") == tl_error);
    CHECK(levelOf(target, L"") == tl_error);
    CHECK(levelOf(target, L"old") == tl_error);
}

TEST_CASE("a tree may be copied onto itself", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");

    tree.assign(tree);

    CHECK(levelOf(tree, L"a::b") == tl_debug);
}

TEST_CASE("a tree that runs out of memory throws and stays usable", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");
    int thrown = 0;

    for (unsigned long long after = 0; after < 8; ++after) {
        const allocations::failure failure(after);
        try {
            tree.set(tl_error, L"a::new::name");
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }

    CHECK(thrown > 0);
    CHECK(levelOf(tree, L"a::b") == tl_debug);
}

TEST_CASE("a change that runs out of memory leaves the tree as it was", "[function]")
{
    leveltree source;
    source.set(tl_trace, L"a::b");
    const std::function<void(leveltree&)> changes[] = {
        [](leveltree& tree) { tree.set(tl_error, L"x::y::z"); },
        [](leveltree& tree) { tree.clear(L"a::x::y"); },
        [](leveltree& tree) { tree.clear(L"a"); },
        [](leveltree& tree) { tree.clear(L""); },
        [](leveltree& tree) { tree.reset(tl_error); },
        [&source](leveltree& tree) { tree.assign(source); },
    };
    for (const auto& change : changes) {
        leveltree tree;
        tree.set(tl_info, L"");
        tree.set(tl_debug, L"a::b");
        bool isChanged = false;
        for (unsigned long long after = 0; !isChanged; ++after) {
            try {
                const allocations::failure failure(after);
                change(tree);
                isChanged = true;
            } catch (const std::bad_alloc&) {
                REQUIRE(levelOf(tree, L"") == tl_info);
                REQUIRE(levelOf(tree, L"a") == tl_info);
                REQUIRE(levelOf(tree, L"a::b") == tl_debug);
                REQUIRE(levelOf(tree, L"x::y") == tl_info);
                tree.set(tl_warning, L"");
                REQUIRE(levelOf(tree, L"a::x") == tl_info);    // it is still there
                REQUIRE(levelOf(tree, L"x::y") == tl_warning); // and this was not made
                tree.set(tl_info, L"");
            }
        }
        CHECK(isChanged);
    }
}

TEST_CASE("a name of very many components needs no more stack than another one", "[function]")
{
    constexpr std::size_t stackSize = 256 * 1024;
    const auto useDeepTree = [](void* done) {
        std::wstring name = L"a";
        for (int component = 0; component < 100000; ++component) {
            name += L"::a";
        }
        leveltree tree;
        tree.set(tl_debug, name.c_str());
        tree.set(tl_error, L"a"); // in a copy
        leveltree other;
        other.assign(tree);
        tree.clear(L"a");
        *static_cast<bool*>(done) =
            levelOf(other, name.c_str()) == tl_debug && levelOf(tree, name.c_str()) == tl_always;
    };
    bool isDone = false;

    REQUIRE(foreignthread::run(useDeepTree, &isDone, stackSize));

    CHECK(isDone);
}

TEST_CASE("resetting a tree gives every function the level", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");

    tree.reset(tl_error);

    CHECK(levelOf(tree, L"") == tl_error);
    CHECK(levelOf(tree, L"a::b") == tl_error);
    tree.set(tl_info, L"");
    CHECK(levelOf(tree, L"a") == tl_info);
}

TEST_CASE("a lookup allocates nothing", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");
    const namechain chain(L"a::b::c");

    const unsigned long long before = allocations::count();
    const tracelevel_t level = tree.lookup(chain.first());
    const unsigned long long behind = allocations::count();

    CHECK(level == tl_debug);
    CHECK(behind == before);
}

TEST_CASE("levels are set and cleared by some threads while others look them up", "[function]")
{
    constexpr int rounds = sanitizer::present ? 300 : 3000;
    leveltree tree;
    tree.set(tl_warning, L"");
    std::atomic<int> setting{2};
    std::atomic<int> unexpected{0};
    const auto setter = [&tree, &setting](const wchar_t* own) {
        for (int round = 0; round < rounds; ++round) {
            tree.set(tl_debug, own);
            tree.set(tl_info, L"shared::name");
            tree.clear(own);
            tree.clear(L"shared");
        }
        tree.set(tl_trace, own);
        --setting;
    };
    const auto looker = [&tree, &setting, &unexpected](const wchar_t* name, tracelevel_t set) {
        const namechain chain(name);
        while (setting > 0) {
            const tracelevel_t level = tree.lookup(chain.first());
            if (level != tl_warning && level != set && level != tl_trace) {
                ++unexpected;
            }
        }
    };

    std::thread first(setter, L"first::f");
    std::thread second(setter, L"second::g");
    std::thread third(looker, L"first::f::inner", tl_debug);
    std::thread fourth(looker, L"shared::name", tl_info);
    for (std::thread* const thread : {&first, &second, &third, &fourth}) {
        thread->join();
    }

    CHECK(unexpected == 0);
    CHECK(levelOf(tree, L"first::f") == tl_trace); // no change was lost
    CHECK(levelOf(tree, L"second::g") == tl_trace);
    CHECK(levelOf(tree, L"shared::name") == tl_warning);
    CHECK(levelOf(tree, L"first") == tl_warning);
}

TEST_CASE("what a change replaces is freed when nobody reads it", "[function]")
{
    leveltree tree;
    tree.set(tl_debug, L"a::b");
    const unsigned long long once = allocations::alive();

    for (int round = 0; round < 100; ++round) {
        tree.set(tl_debug, L"a::b");
    }

    CHECK(allocations::alive() == once);
}

TEST_CASE("many levels are set as one change, which costs each name the same", "[function]")
{
    const auto allocated = [](int names) {
        std::vector<namedlevel> levels;
        for (int name = 0; name < names; ++name) {
            levels.push_back({L"shop::f" + std::to_wstring(name), tl_debug});
        }
        levels.push_back({L"shop", tl_info});
        levels.push_back({L"shop::f0", tl_trace});
        leveltree tree;
        const unsigned long long before = allocations::count();
        tree.set(levels);
        const unsigned long long made = allocations::count() - before;
        CHECK(levelOf(tree, L"shop::f0") == tl_trace);
        CHECK(levelOf(tree, L"shop::f1") == tl_debug);
        CHECK(levelOf(tree, L"shop::g") == tl_info);
        return made;
    };

    CHECK(allocated(2000) < 30 * 2000);
}

TEST_CASE("a tree tells the names whose levels differ from what surrounds them", "[function]")
{
    const auto shown = [](const leveltree& tree) {
        std::wstring text;
        for (const auto& each : tree.all()) {
            text += each.first + L'=' + std::to_wstring(each.second) + L' ';
        }
        return text;
    };
    leveltree tree;
    CHECK(shown(tree) == L"=0 ");

    tree.set(tl_info, L"");
    tree.set(tl_debug, L"shop::order");
    tree.set(tl_trace, L"bank");
    tree.set(tl_info, L"house");
    CHECK(shown(tree) == L"=3 bank=6 shop::order=5 ");

    tree.set(tl_error, L""); // what has been made on the way keeps its level
    CHECK(shown(tree) == L"=1 bank=6 house=3 shop=3 shop::order=5 ");

    leveltree copied;
    copied.set(tl_trace, L"gone");
    copied.assign(tree);
    CHECK(shown(copied) == shown(tree));

    tree.clear(L"shop::order");
    tree.clear(L"bank");
    CHECK(shown(tree) == L"=1 house=3 shop=3 ");

    tree.reset(tl_always);
    tree.set(tl_info, L"::a::");
    CHECK(shown(tree) == L"=0 ::a=3 ");
}
