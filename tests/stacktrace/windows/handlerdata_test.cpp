#include "stacktrace/windows/handlerdata.h"

#include <catch2/catch.hpp>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using faults::Landing;
using faults::landingAt;

const int wantedType = 1;
const int otherType = 2;

bool isWanted(const void* type)
{
    return type == &wantedType;
}

constexpr unsigned char omitted = 0xff;
constexpr unsigned char absolutePointers = 0x00;
constexpr unsigned char uleb128 = 0x01;
constexpr std::size_t functionSize = 0x60;

/// Call sites: 0x10..0x1f passes, 0x20..0x2f cleans up, 0x30..0x3f is left to the first action.
std::vector<unsigned char> tableWith(const std::vector<unsigned char>& actions,
                                     const std::vector<const void*>& types)
{
    const std::vector<unsigned char> callSites = {0x10, 0x10, 0x00, 0x00, //
                                                  0x20, 0x10, 0x50, 0x00, //
                                                  0x30, 0x10, 0x58, 0x01};
    const std::size_t typeBytes = types.size() * sizeof(void*);
    const std::size_t behind = 2 + callSites.size() + actions.size() + typeBytes;
    std::vector<unsigned char> table = {omitted, absolutePointers,
                                        static_cast<unsigned char>(behind), uleb128,
                                        static_cast<unsigned char>(callSites.size())};
    table.insert(table.end(), callSites.begin(), callSites.end());
    table.insert(table.end(), actions.begin(), actions.end());
    for (auto type = types.rbegin(); type != types.rend(); ++type) { // counted from the end
        unsigned char bytes[sizeof(void*)];
        std::memcpy(bytes, &*type, sizeof bytes);
        table.insert(table.end(), bytes, bytes + sizeof bytes);
    }
    return table;
}

Landing landingOf(const std::vector<unsigned char>& table, std::size_t offset)
{
    return landingAt(table.data(), functionSize, offset, isWanted);
}

} // namespace

TEST_CASE("a call site without a landing pad lets exceptions pass", "[stacktrace]")
{
    const auto table = tableWith({1, 0}, {&wantedType});

    CHECK(landingOf(table, 0x10) == Landing::passes);
    CHECK(landingOf(table, 0x1f) == Landing::passes);
}

TEST_CASE("a call site without an action only cleans up", "[stacktrace]")
{
    CHECK(landingOf(tableWith({1, 0}, {&wantedType}), 0x20) == Landing::cleansUp);
}

TEST_CASE("a place without a call site terminates", "[stacktrace]")
{
    const auto table = tableWith({1, 0}, {&wantedType});

    CHECK(landingOf(table, 0x0f) == Landing::terminates);
    CHECK(landingOf(table, 0x40) == Landing::terminates);
}

TEST_CASE("a catch clause counts when it takes the type", "[stacktrace]")
{
    CHECK(landingOf(tableWith({1, 0}, {&wantedType}), 0x30) == Landing::catches);
    CHECK(landingOf(tableWith({1, 0}, {&otherType}), 0x30) == Landing::cleansUp);
}

TEST_CASE("catch (...) takes everything", "[stacktrace]")
{
    CHECK(landingOf(tableWith({1, 0}, {nullptr}), 0x30) == Landing::catches);
}

TEST_CASE("the clauses of one try block are asked in turn", "[stacktrace]")
{
    // the first clause is of type 1 and leads to the one behind it, of type 2
    CHECK(landingOf(tableWith({1, 1, 2, 0}, {&otherType, &wantedType}), 0x3f) == Landing::catches);
}

TEST_CASE("a list of exceptions that may leave terminates at others", "[stacktrace]")
{
    const unsigned char minusOne = 0x7f;

    CHECK(landingOf(tableWith({minusOne, 0}, {}), 0x30) == Landing::terminates);
}

TEST_CASE("bytes that are no exception table are recognised", "[stacktrace]")
{
    auto table = tableWith({1, 0}, {&wantedType});

    SECTION("another first byte")
    {
        table[0] = 0x01;
    }
    SECTION("an unknown encoding of types")
    {
        table[1] = 0x05;
    }
    SECTION("an unknown encoding of call sites")
    {
        table[3] = 0x07;
    }
    SECTION("a call site beyond the end of the function")
    {
        table[5] = 0x70;
    }
    SECTION("types that begin before the call sites end")
    {
        table[2] = 0x03;
    }

    CHECK(landingOf(table, 0x30) == Landing::unreadable);
}
