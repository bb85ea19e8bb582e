/// How much memory the library keeps for threads that have traced: while they rest, and when they
/// have ended. Threads that do not trace are measured beside them and taken off, since a thread's
/// stack is not the library's.
///
/// Arguments: how many threads rest at once, and how many come and go.

#include "bench/allocations.h"
#include "bench/measure.h"
#include "bench/peers/completion.h"
#include "bench/residentsize.h"
#include "bench/sinks.h"
#include "tests/helpers/gate.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <thread>
#include <vector>

namespace {

std::size_t sent = 0; ///< lines

/// What has arrived. Takes no memory after its beginning, which would be counted.
struct arrivals
{
    static constexpr std::size_t mostIds = 1 << 22; ///< Linux's limit; larger ones are folded

    std::atomic<std::size_t> lines{0};
    std::vector<bool> ids = std::vector<bool>(mostIds); ///< of the threads, by the lines' text

    std::size_t distinctIds() const
    {
        return static_cast<std::size_t>(std::count(ids.begin(), ids.end(), true));
    }
};

/// Forgets its lines, but knows how many there were, and from which threads. Called under the sink
/// lock, by one thread at a time.
class countingsink : public forgetfulsink
{
public:
    explicit countingsink(arrivals& arrived) : forgetfulsink(1), m_arrived(arrived) {}

    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        const wchar_t* const stampEnd = std::wcsstr(text.c_str(), L"]:");
        if (stampEnd) {
            const unsigned long id = std::wcstoul(stampEnd + 2, nullptr, 16);
            m_arrived.ids[id % arrivals::mostIds] = true;
        }
        ++m_arrived.lines;
    }

    countingsink* clone() const override { return new countingsink(m_arrived); }

private:
    arrivals& m_arrived;
};

struct usage
{
    long long heap;     ///< bytes
    long long resident; ///< bytes
};

usage memoryInUse()
{
    return {bench::bytesInUse(), bench::residentSize()};
}

usage operator-(const usage& left, const usage& right)
{
    return {left.heap - right.heap, left.resident - right.resident};
}

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "worked";
}

void idle() {}

/// Long enough for the library to find that a thread rests. The writer always has something to do.
void rest()
{
    constexpr auto pause = std::chrono::milliseconds(10);
    constexpr int pauses = 150;
    for (int number = 0; number < pauses; ++number) {
        work();
        ++sent;
        std::this_thread::sleep_for(pause);
    }
    bench::waitForLines();
}

/// What so many threads take that have done something and now rest.
usage takenByResting(int count, void (*action)())
{
    gate done;
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    const usage before = memoryInUse();
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&] {
            action();
            done.wait();
        });
    }
    rest();
    const usage taken = memoryInUse() - before;
    done.open();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return taken;
}

/// What is left of so many threads that came and went one by one. The system may give a number to
/// several of them.
usage leftByGone(int count, void (*action)())
{
    const usage before = memoryInUse();
    for (int number = 0; number < count; ++number) {
        std::thread(action).join();
    }
    rest();
    return memoryInUse() - before;
}

/// The lines that arrived stand beside it: memory that is free because lines are gone is no gain.
void reportEach(const std::string& name, const usage& total, std::size_t count, std::size_t arrived)
{
    const auto divisor = static_cast<double>(std::max<std::size_t>(count, 1));
    bench::report(name, static_cast<double>(total.heap) / divisor, "bytes", arrived, sent);
    bench::report(name + ", resident", static_cast<double>(total.resident) / divisor, "bytes",
                  arrived, sent);
}

void measureResting(int count, const arrivals& arrived)
{
    const usage untraced = takenByResting(count, idle);
    const usage traced = takenByResting(count, work);
    sent += static_cast<std::size_t>(count);
    reportEach("idle traced thread", traced - untraced, static_cast<std::size_t>(count),
               arrived.lines);
}

void measureGone(int count, const arrivals& arrived)
{
    const std::size_t before = arrived.distinctIds();
    const usage left = leftByGone(count, work);
    const std::size_t ids = arrived.distinctIds() - before;
    sent += static_cast<std::size_t>(count);
    std::cout << "# ids of ended threads: " << ids << std::endl;
    reportEach("id of an ended thread", left, ids, arrived.lines);
}

} // namespace

int main(int argc, char** argv)
{
    const int resting = argc > 1 ? std::atoi(argv[1]) : 1000;
    const int gone = argc > 2 ? std::atoi(argv[2]) : 100000;

    bench::reportBuild();
    arrivals arrived;
    const countingsink sink(arrived);
    trace::output(sink);
    rest(); // what the library needs once is there from now on
    measureResting(resting, arrived);
    measureGone(gone, arrived);
    trace::remove(sink);
}
