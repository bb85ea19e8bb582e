#include "trace/linequeue.h"

#include "tests/helpers/stagetest.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

void append(linequeue& queue, tracelevel_t level, std::size_t size = 10)
{
    teststage stage;
    stage.write(std::string(size, 'x'), level);
    queue.lines().append(*stage.get().oldest(endOfTime), {7});
}

bool refusesDebug(const hashedfunction&, tracelevel_t level)
{
    return level >= tl_debug;
}

} // namespace

TEST_CASE("lines found taken are not asked about again under the same generation", "[trace]")
{
    linequeue queue;
    int asked = 0;
    const auto refuses = [&asked](const hashedfunction& function, tracelevel_t level) {
        ++asked;
        return refusesDebug(function, level);
    };
    append(queue, tl_info);
    append(queue, tl_debug);
    append(queue, tl_info);
    CHECK(queue.prune(5, refuses) == 1);
    CHECK(asked == 3);

    append(queue, tl_debug);
    CHECK(queue.prune(5, refuses) == 1);
    CHECK(asked == 3 + 1);
    CHECK(queue.prune(6, refuses) == 0);
    CHECK(asked == 3 + 1 + 2);
    CHECK(queue.size() == 2);
}

TEST_CASE("lines that come after all were taken are asked about", "[trace]")
{
    linequeue queue;
    append(queue, tl_info);
    queue.prune(5, refusesDebug);
    CHECK(queue.takeAll().size() == 1);
    CHECK(queue.size() == 0);

    append(queue, tl_debug);
    CHECK(queue.prune(5, refusesDebug) == 1);
}

TEST_CASE("a queue keeps the larger one of two memories", "[trace]")
{
    linequeue queue;
    append(queue, tl_info);
    packedlines small = queue.takeAll();
    for (int line = 0; line < 100; ++line) {
        append(queue, tl_info, packedline::longestPayload);
    }
    packedlines large = queue.takeAll();
    small.clear();
    large.clear();
    const std::size_t room = large.capacity();
    REQUIRE(small.capacity() < room);

    queue.keep(large);
    queue.keep(small);

    queue.takeAll(); // what was kept is for the lines to come
    append(queue, tl_info);
    CHECK(queue.lines().capacity() == room);
}
