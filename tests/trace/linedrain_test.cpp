#include "trace/linedrain.h"

#include "tests/helpers/stagetest.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::string>;

/// Some stages and their drain.
struct drainedstages
{
    explicit drainedstages(unsigned int count)
    {
        for (unsigned int number = 0; number < count; ++number) {
            stages.push_back(std::make_unique<teststage>(number));
            drain.add(stages.back()->give());
        }
    }

    texts_t run()
    {
        texts_t found;
        upTo = drain.run([&found](const stagedline& line, const stage&) noexcept {
            found.push_back(teststage::bytes(line));
        });
        return found;
    }

    linedrain drain;
    std::vector<std::unique_ptr<teststage>> stages;
    unsigned long long upTo = 0;
};

} // namespace

TEST_CASE("lines of several stages are drained in the order in which they were made", "[trace]")
{
    drainedstages test(7);
    std::mt19937 random(3);

    for (int round = 0; round < 20; ++round) {
        texts_t written;
        for (int line = 0; line < 300; ++line) {
            written.push_back(std::to_string(round * 1000 + line));
            test.stages[random() % test.stages.size()]->write(written.back());
        }
        CHECK(test.drain.pending() == written.size());
        CHECK(test.run() == written);
        CHECK(test.drain.pending() == 0);
    }
}

TEST_CASE("a drain tells the thread of each line", "[trace]")
{
    drainedstages test(3);
    test.stages[2]->write("of 2");
    test.stages[1]->write("of 1");
    std::vector<unsigned int> threads;

    test.drain.run([&threads](const stagedline&, const stage& from) noexcept {
        threads.push_back(from.threadId());
    });

    CHECK(threads == std::vector<unsigned int>{2, 1});
}

TEST_CASE("a line that is made while lines are drained waits for the next drain", "[trace]")
{
    drainedstages test(2);
    test.stages[0]->write("a");
    test.stages[1]->write("b");
    texts_t found;

    test.drain.run([&](const stagedline& line, const stage&) noexcept {
        found.push_back(teststage::bytes(line));
        test.stages[0]->write("meanwhile " + found.back());
    });

    CHECK(found == texts_t{"a", "b"});
    CHECK(test.run() == texts_t{"meanwhile a", "meanwhile b"});
}

TEST_CASE("a drain tells the stamp up to which it has taken everything", "[trace]")
{
    drainedstages test(1);
    test.stages[0]->write("a");
    const unsigned long long made = test.stages[0]->get().oldest(endOfTime)->stamp;

    test.run();

    CHECK(test.upTo >= made);
    CHECK(test.upTo <= tolvane::stamps::now());
}

TEST_CASE("a stage whose thread has left is gone when its lines are taken", "[trace]")
{
    drainedstages test(2);
    test.stages[0]->write("left behind");
    test.stages[0]->get().refuse();
    test.stages.erase(test.stages.begin());

    test.drain.tidy();
    CHECK(test.drain.pending() == 1);
    CHECK(test.run() == texts_t{"left behind"});
    test.drain.tidy();
    CHECK(test.drain.takeRefused() == 1);
    test.drain.tidy(); // the sanitizer sees it go

    test.stages[0]->write("of the living");
    CHECK(test.run() == texts_t{"of the living"});
}

TEST_CASE("a line that was made after another thread's never overtakes it", "[trace]")
{
    constexpr int lines = 500; // each waits for the scheduler on a machine that is busy
    drainedstages test(2);
    std::atomic<int> turn{0}; // the number of the line that is to be written
    std::vector<std::thread> writers;
    for (const int parity : {0, 1}) {
        writers.emplace_back([&test, &turn, parity] {
            for (int line = parity; line < lines; line += 2) {
                while (turn.load(std::memory_order_acquire) != line) {
                    std::this_thread::yield();
                }
                test.stages[static_cast<std::size_t>(parity)]->write(std::to_string(line));
                turn.store(line + 1, std::memory_order_release);
            }
        });
    }
    int next = 0;
    int wrong = 0;
    while (next < lines) {
        for (const std::string& text : test.run()) {
            wrong += text == std::to_string(next++) ? 0 : 1;
        }
        std::this_thread::yield();
    }
    for (std::thread& writer : writers) {
        writer.join();
    }

    CHECK(wrong == 0);
}
