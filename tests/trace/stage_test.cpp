#include "trace/stage.h"

#include "support/clock.h"
#include "support/stamps.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/stagetest.h"

#include <catch2/catch.hpp>

#include <new>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::string>;

/// Takes everything.
texts_t takeAll(stage& from)
{
    texts_t found;
    while (const stagedline* const line = from.oldest(endOfTime)) {
        found.push_back(teststage::bytes(*line));
        from.take();
    }
    return found;
}

} // namespace

TEST_CASE("a stage is empty at first", "[trace]")
{
    teststage stage(42);

    CHECK(stage.get().oldest(endOfTime) == nullptr);
    CHECK(stage.get().pending() == 0);
    CHECK(stage.get().threadId() == 42);
    CHECK_FALSE(stage.get().isLeft());
}

TEST_CASE("a staged line comes out with what was put in", "[trace]")
{
    teststage stage;
    stage.write("abc", static_cast<tracelevel_t>(-3));

    const stagedline* const line = stage.get().oldest(endOfTime);

    REQUIRE(line);
    CHECK(teststage::bytes(*line) == "abc");
    CHECK(line->level == -3);
    CHECK(line->function == &teststage::function());
    CHECK(line->type == formattedline::tt_text);
    CHECK(line->form == stagedline::operands);
}

TEST_CASE("lines of all lengths come out in the order in which they were staged", "[trace]")
{
    teststage stage;
    std::mt19937 random(1);
    texts_t written;
    texts_t read;

    for (int round = 0; round < 200; ++round) {
        for (auto lines = random() % 100; lines != 0; --lines) {
            written.emplace_back(random() % (packedline::longestPayload + 1),
                                 char('a' + lines % 26));
            stage.write(written.back());
        }
        for (auto lines = random() % 110; lines != 0; --lines) {
            if (const stagedline* const line = stage.get().oldest(endOfTime)) {
                read.push_back(teststage::bytes(*line));
                stage.get().take();
            }
        }
        REQUIRE(stage.get().pending() == written.size() - read.size());
    }
    const texts_t rest = takeAll(stage.get());
    read.insert(read.end(), rest.begin(), rest.end());

    CHECK(read == written);
    CHECK(stage.get().pending() == 0);
}

TEST_CASE("a line that was not published is not there", "[trace]")
{
    teststage stage;
    stage.write("first");
    stage.begin("torn");

    CHECK(takeAll(stage.get()) == texts_t{"first"});

    stage.write("second");
    CHECK(takeAll(stage.get()) == texts_t{"second"});
}

TEST_CASE("what is younger than the stamp is left for the next time", "[trace]")
{
    teststage stage;
    stage.write("old");
    const unsigned long long between = tolvane::stamps::nowBeforeReading();
    stage.write("young");

    REQUIRE(stage.get().oldest(between));
    stage.get().take();

    CHECK(stage.get().oldest(between) == nullptr);
    CHECK(stage.get().pending() == 1);
    CHECK(takeAll(stage.get()) == texts_t{"young"});
}

TEST_CASE("stamps of one stage never go back, whatever the counter does", "[trace]")
{
    teststage stage;
    unsigned long long last = 0;
    int backwards = 0;
    for (int line = 0; line < 1000; ++line) {
        tolvane::stamps::useSharedCounter(line % 3 == 0);
        stage.write("x");
    }
    tolvane::stamps::useSharedCounter(false);

    while (const stagedline* const line = stage.get().oldest(endOfTime)) {
        backwards += line->stamp < last ? 1 : 0;
        last = line->stamp;
        stage.get().take();
    }

    CHECK(backwards == 0);
}

TEST_CASE("a line has the millisecond in which it was made", "[trace]")
{
    const bool shared = GENERATE(false, true);
    tolvane::stamps::useSharedCounter(shared);
    const tolvane::Clock& clock = tolvane::Clock::current();
    teststage stage;
    int wrong = 0;

    for (int line = 0; line < 20000; ++line) {
        const unsigned long long before = clock.localMilliseconds();
        stage.write("x");
        const unsigned long long after = clock.localMilliseconds();
        const unsigned long long time = stage.get().oldest(endOfTime)->time;
        wrong += time < before || time > after ? 1 : 0;
        stage.get().take();
    }
    tolvane::stamps::useSharedCounter(false);

    CHECK(wrong == 0);
}

TEST_CASE("a clock that is put in the system's place is asked for every line", "[trace]")
{
    teststage stage;
    stage.write("of the system's time");
    {
        scriptedclock clock;
        for (const unsigned long long time : {7ULL, 3ULL, 1000000000000ULL}) {
            clock.setLocalMilliseconds(time);
            stage.write("x");
        }
    }
    stage.write("of the system's time");

    std::vector<unsigned long long> times;
    while (const stagedline* const line = stage.get().oldest(endOfTime)) {
        times.push_back(line->time);
        stage.get().take();
    }
    REQUIRE(times.size() == 5);
    CHECK(times[1] == 7);
    CHECK(times[2] == 3);
    CHECK(times[3] == 1000000000000ULL);
    CHECK(times[4] >= times[0]);
    CHECK(times[4] > times[3]);
}

TEST_CASE("in a steady flow a stage allocates nothing", "[trace]")
{
    teststage stage;
    const auto burst = [&] { // as much as may wait
        for (int line = 0; line < 2000; ++line) {
            stage.write("as long as every line of this flow");
        }
    };
    for (int round = 0; round < 3; ++round) {
        burst();
        takeAll(stage.get());
    }

    const unsigned long long before = allocations::count();
    burst();

    CHECK(allocations::count() == before);
    CHECK(takeAll(stage.get()).size() == 2000);
}

TEST_CASE("without memory for more lines a stage stays as it was", "[trace]")
{
    teststage stage;
    std::size_t written = 0;
    bool failed = false;
    {
        const allocations::failure noMemory;
        while (!failed) {
            try {
                stage.write("line");
                ++written;
            } catch (const std::bad_alloc&) {
                failed = true;
            }
        }
    }
    stage.write("after");

    texts_t expected(written, "line");
    expected.emplace_back("after");
    CHECK(written > 10);
    CHECK(takeAll(stage.get()) == expected);
}

TEST_CASE("a stage that rests gives back the memory of many lines", "[trace]")
{
    teststage stage;
    const char text[200] = "";
    stage.write("what is made once");
    stage.get().oldest(endOfTime);
    stage.get().take();
    const unsigned long long before = allocations::alive();
    for (int line = 0; line < 500; ++line) {
        stage.write(std::string_view(text, sizeof text));
    }
    while (stage.get().oldest(endOfTime)) {
        stage.get().take();
    }
    const unsigned long long chunks = allocations::alive() - before;
    for (int drain = 0; drain < 99; ++drain) {
        stage.get().rest();
    }
    const unsigned long long chunksStill = allocations::alive() - before;
    stage.get().rest();
    const unsigned long long chunksThen = allocations::alive() - before;

    CHECK(chunks >= 10);
    CHECK(chunksStill == chunks); // the next lines may come soon
    CHECK(chunksThen == 0);

    stage.write("goes on");
    CHECK(takeAll(stage.get()) == texts_t{"goes on"});
}

TEST_CASE("refused lines are counted once", "[trace]")
{
    teststage stage;
    CHECK_FALSE(stage.get().hasRefused());
    stage.get().refuse();
    stage.get().refuse();

    CHECK(stage.get().hasRefused());
    CHECK(stage.get().takeRefused() == 2);
    CHECK(stage.get().takeRefused() == 0);
    CHECK_FALSE(stage.get().hasRefused());
}

TEST_CASE("a stage whose thread has left still holds its lines", "[trace]")
{
    stage* left = nullptr;
    {
        teststage stage;
        stage.write("left behind");
        left = stage.give();
    }

    CHECK(left->isLeft());
    CHECK(takeAll(*left) == texts_t{"left behind"});
    stage::release(left);
}

TEST_CASE("a thread writes while another one reads, and nothing is lost or torn", "[trace]")
{
    constexpr int lines = 50000;
    teststage stage;
    std::thread writer([&] {
        for (int line = 0; line < lines; ++line) {
            stage.write(std::string(static_cast<std::size_t>(line % 200), 'x') +
                        std::to_string(line));
        }
    });
    int wrong = 0;
    int read = 0;
    while (read < lines) {
        if (const stagedline* const line = stage.get().oldest(endOfTime)) {
            const std::string expected =
                std::string(static_cast<std::size_t>(read % 200), 'x') + std::to_string(read);
            wrong += teststage::bytes(*line) == expected ? 0 : 1;
            ++read;
            stage.get().take();
        } else {
            std::this_thread::yield();
        }
    }
    writer.join();

    CHECK(wrong == 0);
    CHECK(stage.get().pending() == 0);
}
