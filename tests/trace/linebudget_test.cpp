#include "trace/linebudget.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <thread>
#include <vector>

namespace {

/// Lets a thread come with a line.
/// \return whether it may be staged.
bool comes(linebudget& budget, linebudget::allowance& mine)
{
    if (!budget.holds(mine) && !budget.take(mine)) {
        return false;
    }
    --mine.left;
    return true;
}

int comeAsLongAsAllowed(linebudget& budget, linebudget::allowance& mine)
{
    int lines = 0;
    while (comes(budget, mine)) {
        ++lines;
    }
    return lines;
}

} // namespace

TEST_CASE("nothing may come before it is settled how much", "[trace]")
{
    linebudget budget;
    linebudget::allowance mine;

    CHECK_FALSE(budget.holds(mine));
    CHECK_FALSE(budget.take(mine));
}

TEST_CASE("exactly as many lines may come as were settled", "[trace]")
{
    for (const std::size_t lines :
         {std::size_t{0}, std::size_t{1}, std::size_t{31}, std::size_t{32}, std::size_t{33},
          std::size_t{1000}, std::size_t{2000}}) {
        CAPTURE(lines);
        linebudget budget;
        linebudget::allowance mine;
        budget.close();
        budget.settle(lines, 0);

        CHECK(comeAsLongAsAllowed(budget, mine) == static_cast<int>(lines));
        CHECK_FALSE(comes(budget, mine));
    }
}

TEST_CASE("threads together get no more than was settled, and the rest when they are asked again",
          "[trace]")
{
    constexpr int threadCount = 4;
    constexpr std::size_t lines = 1000;
    linebudget budget;
    budget.close();
    budget.settle(lines, 0);
    std::atomic<int> came{0};
    std::vector<std::thread> threads;
    std::vector<linebudget::allowance> allowances(threadCount);
    for (linebudget::allowance& mine : allowances) {
        threads.emplace_back([&] { came += comeAsLongAsAllowed(budget, mine); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(came == static_cast<int>(lines));
}

TEST_CASE("what a thread has taken and not used can be settled anew", "[trace]")
{
    linebudget budget;
    linebudget::allowance mine;
    linebudget::allowance others;
    budget.close();
    budget.settle(1000, 0);
    REQUIRE(comes(budget, others));
    REQUIRE(others.left > 0);

    budget.close();
    budget.settle(999, 0);

    CHECK(comeAsLongAsAllowed(budget, mine) == 999);
    CHECK_FALSE(budget.holds(others));
    CHECK_FALSE(comes(budget, others));
}

TEST_CASE("closing makes every allowance void", "[trace]")
{
    linebudget budget;
    linebudget::allowance mine;
    budget.close();
    budget.settle(100, 0);
    REQUIRE(comes(budget, mine));

    budget.close();

    CHECK_FALSE(budget.holds(mine));
    CHECK_FALSE(budget.take(mine));
}

TEST_CASE("towards the end threads take less at once", "[trace]")
{
    linebudget budget;
    linebudget::allowance mine;
    budget.close();
    budget.settle(2000, 0);
    REQUIRE(budget.take(mine));
    CHECK(mine.left == 32);

    budget.close();
    budget.settle(20, 0);
    REQUIRE(budget.take(mine));
    CHECK(mine.left == 1);
}

TEST_CASE("who must select loses the allowance when a level changes", "[trace]")
{
    linebudget budget;
    linebudget::allowance selective;
    linebudget::allowance free;
    budget.close();
    budget.settle(1000, 0);
    REQUIRE(comes(budget, free));
    CHECK_FALSE(free.isSelective);

    levelgeneration::raise();
    CHECK(budget.holds(free));

    budget.close();
    budget.settle(1000, levelgeneration::current());
    REQUIRE(comes(budget, selective));
    CHECK(selective.isSelective);
    CHECK(budget.holds(selective));

    levelgeneration::raise();
    CHECK_FALSE(budget.holds(selective));
    CHECK_FALSE(budget.take(selective));
}

TEST_CASE("an allowance is of the kind that was settled, however often that changes", "[trace]")
{
    constexpr unsigned int settlements = 10000000;
    linebudget budget;
    std::atomic<bool> isSettling{true};
    const auto isSelective = [](unsigned int epoch) { return epoch % 2 != 0; };
    budget.close();
    std::thread settling([&] {
        for (unsigned int epoch = 3; epoch < settlements; ++epoch) { // the one above made 2
            budget.close();
            budget.settle(1000, isSelective(epoch) ? levelgeneration::current() : 0);
        }
        isSettling = false;
    });
    int wrong = 0;
    linebudget::allowance mine;
    while (isSettling) {
        if (budget.take(mine) && mine.isSelective != isSelective(mine.epoch)) {
            ++wrong;
        }
    }
    settling.join();

    CHECK(wrong == 0);
}
