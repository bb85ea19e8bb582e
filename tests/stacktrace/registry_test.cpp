#include "stacktrace/registry.h"

#include <tolvane/hashedfunction.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/stacktracetest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <list>
#include <new>
#include <vector>

// A registry of the test's own, and threads that are numbers only.

namespace {

using tester = stacktracetest;
using registry = tester::registry;
using entry = tester::entry;

const hashedfunction* function()
{
    static const hashedfunction one("f");
    return &one;
}

void push(entry& stack, unsigned long long count)
{
    for (unsigned long long i = 0; i < count; ++i) {
        tester::push(stack, function());
    }
}

void pop(entry& stack)
{
    while (stack.size() != 0) {
        tester::pop(stack);
    }
}

/// A thread that comes, runs some functions and ends.
void comeAndGo(registry& all, unsigned int id, unsigned long long depth = 1)
{
    entry& mine = all.enter(id);
    push(mine, depth);
    pop(mine);
    all.leave(mine);
}

/// How deep the stacks are, the deepest first.
std::vector<unsigned long long> depths(const registry& all)
{
    std::vector<unsigned long long> result;
    for (const stacktrace& stack : tester::copies(all)) {
        result.push_back(stack.size());
    }
    std::sort(result.rbegin(), result.rend());
    return result;
}

using sizes = std::vector<unsigned long long>;

} // namespace

TEST_CASE("a thread keeps its entry until it ends", "[stacktrace]")
{
    registry all;
    entry& first = all.enter(1);
    entry& second = all.enter(2);

    CHECK(&first != &second);
    CHECK(&all.enter(1) == &first);
    CHECK(all.find(2) == &second);
    CHECK(all.find(3) == nullptr);
    CHECK(all.size() == 2);
    CHECK(depths(all) == sizes{0, 0});
}

TEST_CASE("the entry of a thread that has ended is the next thread's", "[stacktrace]")
{
    registry all;
    entry& first = all.enter(1);
    push(first, 3);
    pop(first);
    all.leave(first);

    entry& second = all.enter(2);
    push(second, 1);

    CHECK(&second == &first);
    CHECK(all.find(1) == nullptr);
    CHECK(all.knows(1));
    CHECK(all.size() == 2);
    CHECK(depths(all) == sizes{1, 0});
}

TEST_CASE("a thread with the number of one that has ended is the same element", "[stacktrace]")
{
    registry all;
    comeAndGo(all, 1);
    comeAndGo(all, 2);

    entry& again = all.enter(1);
    push(again, 2);
    CHECK(all.size() == 2);
    CHECK(depths(all) == sizes{2, 0});
    pop(again);
    all.leave(again);

    CHECK(all.size() == 2);
    CHECK(depths(all) == sizes{0, 0});
}

TEST_CASE("threads with the numbers of others that have ended take no memory", "[stacktrace]")
{
    registry all;
    comeAndGo(all, 1);
    comeAndGo(all, 2);
    const long long before = allocations::bytesInUse();

    for (unsigned int turn = 0; turn < 10000; ++turn) {
        comeAndGo(all, turn % 2 + 1);
    }

    CHECK(allocations::bytesInUse() == before);
    CHECK(all.size() == 2);
    CHECK(depths(all) == sizes{0, 0});
}

TEST_CASE("a thread that ends with functions on its stack keeps its entry", "[stacktrace]")
{
    registry all;
    entry& first = all.enter(1);
    push(first, 2);
    all.leave(first);

    entry& second = all.enter(2);

    CHECK(&second != &first);
    CHECK(all.find(1) == &first);
    CHECK(depths(all) == sizes{2, 0});
    CHECK(&all.enter(1) == &first); // a later thread with that number goes on with it
    pop(first);
    all.leave(first);
    CHECK(all.find(1) == nullptr);
    CHECK(depths(all) == sizes{0, 0});
}

TEST_CASE("a thread that has come and gone takes at most 16 bytes", "[stacktrace]")
{
    constexpr long long bytesEach = 16;
    constexpr long long start = 512; // of the first thread
    const long long before = allocations::bytesInUse();
    registry all;
    long long worst = 0;

    for (unsigned int id = 1; id <= 200000; ++id) {
        comeAndGo(all, id * 4);
        worst = std::max(worst, allocations::bytesInUse() - before - bytesEach * id);
    }

    CHECK(worst <= start);
    CHECK(all.size() == 200000);
    CHECK(tester::copies(all).size() == 200000);
}

TEST_CASE("a traced thread that is idle takes little more than 128 bytes", "[stacktrace]")
{
    constexpr unsigned int count = 10000;
    constexpr long long bytesEach = 136; // with what the allocator adds to two pieces
    registry all;
    const long long before = allocations::bytesInUse();

    for (unsigned int id = 1; id <= count; ++id) {
        push(all.enter(id), 6);
    }

    CHECK((allocations::bytesInUse() - before) / count <= bytesEach);
    for (unsigned int id = 1; id <= count; ++id) {
        pop(*all.find(id));
    }
}

TEST_CASE("what a stack has grown by is freed when its thread ends", "[stacktrace]")
{
    registry all;
    std::vector<entry*> entries;
    for (unsigned int id = 1; id <= 10; ++id) {
        entries.push_back(&all.enter(id));
        push(*entries.back(), 1);
    }
    const unsigned long long first = tester::room(*entries[0]);
    const long long before = allocations::bytesInUse();
    for (entry* const each : entries) {
        push(*each, 1000);
        CHECK(tester::room(*each) > 1000);
        pop(*each);
    }

    for (entry* const each : entries) {
        all.leave(*each);
    }

    constexpr long long tableOfNumbers = 128;
    CHECK(allocations::bytesInUse() - before <= tableOfNumbers);
    for (unsigned int id = 11; id <= 20; ++id) {
        entry& mine = all.enter(id);
        CHECK(tester::room(mine) == first);
        push(mine, 100);
        CHECK(mine.size() == 100);
        pop(mine);
    }
}

TEST_CASE("what a stack has grown by stays while someone reads, until the next thread's end",
          "[stacktrace]")
{
    registry all;
    {
        const registry::Reading reading(all);
        comeAndGo(all, 1, 1000);
    }
    entry& mine = all.enter(2);
    CHECK(tester::room(mine) >= 1000);
    push(mine, 1);
    CHECK(mine[0] == function());
    pop(mine);

    all.leave(mine);

    CHECK(tester::room(mine) < 1000);
}

TEST_CASE("a thread that comes when memory is out is not there, or whole", "[stacktrace]")
{
    registry all;
    std::size_t there = 0;
    int thrown = 0;
    for (unsigned int id = 1; id <= 200; ++id) {
        for (unsigned long long after = 0; there < id; ++after) {
            try {
                const allocations::failure failure(after);
                all.enter(id);
            } catch (const std::bad_alloc&) {
                ++thrown;
                if (all.knows(id) || all.size() != there) {
                    FAIL("half a thread " << id);
                }
                continue;
            }
            ++there;
        }
        if (tester::copies(all).size() != there || !all.find(id)) {
            FAIL("thread " << id << " is missing");
        }
    }

    CHECK(thrown >= 200);
    CHECK(all.size() == 200);
}

TEST_CASE("a thread whose number cannot be kept for lack of memory keeps its entry", "[stacktrace]")
{
    registry all;
    int kept = 0;
    for (unsigned int id = 1; id <= 1000; ++id) {
        entry& mine = all.enter(id);
        push(mine, 1);
        pop(mine);
        {
            const allocations::failure failure;
            all.leave(mine);
        }
        kept += all.find(id) == &mine ? 1 : 0;
        if (!all.knows(id) || tester::copies(all).size() != id) {
            FAIL("thread " << id << " is lost or doubled");
        }
    }
    CHECK(kept > 100); // without memory there is no table for the numbers

    for (unsigned int id = 1; id <= 1000; ++id) {
        entry& mine = all.enter(id);
        all.leave(mine);
    }

    CHECK(all.size() == 1000);
    CHECK(depths(all) == sizes(1000));
    for (unsigned int id = 1; id <= 1000; ++id) {
        if (all.find(id)) {
            FAIL("thread " << id << " has an entry still");
        }
    }
}
