#include "sinks/linering.h"

#include "tests/helpers/recorderfile.h"

#include <catch2/catch.hpp>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using lines_t = std::vector<std::string>;

/// Memory for so many bytes of lines, aligned as a file in memory is.
struct ringmemory
{
    explicit ringmemory(std::size_t size)
        : words((linering::headerSize + size + 7) / 8), bytes(linering::headerSize + size)
    {}

    unsigned char* begin() { return reinterpret_cast<unsigned char*>(words.data()); }
    std::string text() { return {reinterpret_cast<const char*>(begin()), bytes}; }
    lines_t lines()
    {
        const auto found = linesOfRecorderFile(text());
        return found ? *found : lines_t{"none"};
    }

    std::vector<unsigned long long> words;
    std::size_t bytes;
};

} // namespace

TEST_CASE("lines are in the memory in their order", "[sinks][recorder]")
{
    ringmemory memory(100);
    linering ring(memory.begin(), memory.bytes);
    CHECK(memory.lines().empty());

    CHECK(ring.write("one"));
    CHECK(ring.write(""));
    CHECK(ring.write("three\nand more"));

    CHECK(memory.lines() == lines_t{"one", "", "three\nand more"});
}

TEST_CASE("the newest lines take the place of the oldest", "[sinks][recorder]")
{
    ringmemory memory(15); // three of these, which have two bytes more each
    linering ring(memory.begin(), memory.bytes);

    for (const char* const text : {"aaa", "bbb", "ccc", "ddd"}) {
        CHECK(ring.write(text));
    }
    CHECK(memory.lines() == lines_t{"bbb", "ccc", "ddd"});

    CHECK(ring.write("eeee"));
    CHECK(memory.lines() == lines_t{"ddd", "eeee"});
}

TEST_CASE("a line may fill the memory, and one that is longer is refused", "[sinks][recorder]")
{
    ringmemory memory(10);
    linering ring(memory.begin(), memory.bytes);
    ring.write("a");

    CHECK_FALSE(ring.write("123456789"));
    CHECK(memory.lines() == lines_t{"a"});

    CHECK(ring.write("12345678"));
    CHECK(memory.lines() == lines_t{"12345678"});
}

TEST_CASE("lines of any length wrap around the end", "[sinks][recorder]")
{
    std::mt19937 random(7);
    for (const std::size_t size : {7U, 64U, 191U}) {
        ringmemory memory(size);
        linering ring(memory.begin(), memory.bytes);
        lines_t written;
        for (int line = 0; line < 1000; ++line) {
            const std::string text(random() % (size - 1), static_cast<char>('a' + line % 26));
            REQUIRE(ring.write(text));
            written.push_back(text);
            const lines_t found = memory.lines();
            REQUIRE(found.size() <= written.size());
            REQUIRE(std::equal(found.rbegin(), found.rend(), written.rbegin()));
            std::size_t bytes = 0;
            for (const std::string& each : found) {
                bytes += each.size() + 2;
            }
            const bool oneMoreWouldFit =
                found.size() < written.size() &&
                bytes + written[written.size() - found.size() - 1].size() + 2 <= size;
            REQUIRE_FALSE(oneMoreWouldFit);
        }
    }
}

TEST_CASE("whoever goes on with the memory finds the lines", "[sinks][recorder]")
{
    ringmemory memory(20);
    linering(memory.begin(), memory.bytes).write("one");

    linering again(memory.begin(), memory.bytes);
    CHECK(memory.lines() == lines_t{"one"});
    again.write("two");
    CHECK(memory.lines() == lines_t{"one", "two"});
}

TEST_CASE("memory in which there is something else begins anew", "[sinks][recorder]")
{
    for (const std::size_t changed : {0U, 31U, 32U, 40U, 47U, 48U, 55U}) {
        ringmemory memory(20);
        linering(memory.begin(), memory.bytes).write("one");
        memory.begin()[changed] ^= 0x81;

        linering(memory.begin(), memory.bytes);

        CAPTURE(changed);
        CHECK(memory.lines().empty());
    }
}

TEST_CASE("lines that somebody has written over cost no more than the lines", "[sinks][recorder]")
{
    ringmemory memory(20);
    linering ring(memory.begin(), memory.bytes);
    ring.write("one");
    ring.write("two");
    std::memset(memory.begin() + 40, 'x', 16); // where the lines begin and end
    std::memset(memory.begin() + linering::headerSize, 'x', 20);

    CHECK(ring.write("123456789012345678"));
    CHECK(memory.lines() == lines_t{"123456789012345678"});
}
