#include "stacktrace/idtable.h"

#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cstddef>
#include <random>
#include <set>
#include <vector>

namespace {

struct itself
{
    unsigned int operator()(unsigned int id) const { return id; }
};

using table_t = idtable<unsigned int, itself>;

bool put(table_t& table, unsigned int id)
{
    if (!table.makeRoom()) {
        return false;
    }
    table.insert(id);
    return true;
}

bool holds(const table_t& table, unsigned int id)
{
    const unsigned int* const found = table.find(id);
    return found && *found == id;
}

/// Whether the table holds those and none of the others that are asked for.
bool holdsExactly(const table_t& table, const std::set<unsigned int>& expected,
                  const std::vector<unsigned int>& asked)
{
    bool allRight = table.size() == expected.size();
    for (const unsigned int id : asked) {
        allRight = allRight && holds(table, id) == (expected.count(id) != 0);
    }
    return allRight;
}

} // namespace

TEST_CASE("an empty table holds nothing", "[stacktrace]")
{
    table_t table;

    CHECK(table.size() == 0);
    CHECK_FALSE(holds(table, 1));
    CHECK_FALSE(table.erase(1));
}

TEST_CASE("a table holds what was put in and not taken out again", "[stacktrace]")
{
    std::mt19937 random(1); // the same numbers in each run
    for (const unsigned int step : {1U, 2U, 4U, 0x10000U, 0x01000000U, 2654435769U}) {
        std::vector<unsigned int> all;
        for (unsigned int i = 1; i <= 200; ++i) {
            all.push_back(i * step != 0 ? i * step : ~0U);
        }
        table_t table;
        std::set<unsigned int> expected;
        bool allRight = true;
        for (int turn = 0; turn < 4000; ++turn) {
            const unsigned int id = all[random() % all.size()];
            if (expected.count(id) != 0) {
                allRight = allRight && table.erase(id);
                expected.erase(id);
            } else {
                allRight = allRight && !table.erase(id) && put(table, id);
                expected.insert(id);
            }
            if (turn % 20 == 0) {
                allRight = allRight && holdsExactly(table, expected, all);
            }
        }
        INFO("numbers " << step << " apart");
        CHECK(allRight);
        CHECK(holdsExactly(table, expected, all));
    }
}

TEST_CASE("a table takes at most 16 bytes for an element of 4, however many there are",
          "[stacktrace]")
{
    constexpr long long bytesEach = 16;
    constexpr long long start = 128; // the first elements share a piece of memory
    const long long before = allocations::bytesInUse();
    table_t table;
    long long worst = 0;

    for (unsigned int id = 1; id <= 300000; ++id) {
        if (!put(table, id * 4)) {
            FAIL("out of memory");
        }
        worst = std::max(worst, allocations::bytesInUse() - before - bytesEach * id);
    }

    CHECK(worst <= start);
    CHECK(table.size() == 300000);
}

TEST_CASE("elements that come and go take no more memory than the most at a time", "[stacktrace]")
{
    table_t table;
    for (unsigned int id = 1; id <= 100; ++id) {
        put(table, id);
    }
    const long long before = allocations::bytesInUse();

    for (unsigned int id = 1; id <= 100000; ++id) {
        table.erase(id);
        put(table, id + 100);
    }

    CHECK(allocations::bytesInUse() == before);
    CHECK(table.size() == 100);
}

TEST_CASE("a table that gets no memory stays as it is", "[stacktrace]")
{
    table_t table;
    std::set<unsigned int> expected;
    std::vector<unsigned int> asked;
    int refused = 0;
    for (unsigned int id = 1; id <= 1000; ++id) {
        asked.push_back(id);
        bool isPut = false;
        {
            const allocations::failure failure;
            isPut = put(table, id);
        }
        if (!isPut) {
            ++refused;
            if (!holdsExactly(table, expected, asked)) {
                FAIL("changed at " << id);
            }
            put(table, id);
        }
        expected.insert(id);
    }

    CHECK(refused > 3);
    CHECK(holdsExactly(table, expected, asked));
}
