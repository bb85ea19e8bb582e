#include "trace/faultpoint.h"

#include <tolvane/tolvane.h>

#include "tests/helpers/hardfault.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/reliability/rows.h"

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>

// A fault at each point of a line's road, in each kind of thread that comes there.

namespace {

std::atomic<int> armed{0};
std::atomic<bool> isReached{false};

/// Threads that are the program's own say so; the writer never does.
thread_local bool isProgramsOwn = false;
std::atomic<bool> isForWriter{false};

} // namespace

void faultpoint::reach(number point)
{
    if (point == armed && isProgramsOwn != isForWriter) {
        armed = 0;
        isReached = true;
        hardfault::raise();
    }
}

namespace reliability {

namespace {

constexpr int notReachedCode = 3;

/// What the writer thread comes to; the points before are those of threads that trace.
constexpr int firstOfWriter = faultpoint::passBegun;
constexpr std::chrono::seconds longestWait{10};

/// Remembers the texts that end in a number, by that number.
class lastsink : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        const std::string all = text.narrow();
        if (all.find("after the fault") != std::string::npos) {
            ++lines;
        }
    }
    unsigned long long id() const override { return 1; }
    lastsink* clone() const override { return new lastsink; }

    static std::atomic<int> lines;
};

std::atomic<int> lastsink::lines{0};

void traceLines(int count, const char* text)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count && !isReached; ++line) {
        TOLVANE_LOG(log, tl_info) << text;
    }
}

void arm(int point, bool forWriter)
{
    isForWriter = forWriter;
    armed = point;
}

/// Comes to every point of staging, and writes when too many lines wait.
void produce(int point)
{
    std::thread([point] {
        isProgramsOwn = true;
        arm(point, false);
        traceLines(20000, "before");
    }).join();
}

void flush(int point)
{
    std::thread([point] {
        isProgramsOwn = true;
        arm(point, false);
        for (int round = 0; round < 100 && !isReached; ++round) {
            traceLines(2, "before");
            trace::flush(0);
        }
    }).join();
}

void waitForWriter(int point)
{
    isProgramsOwn = true;
    arm(point, true);
    const auto start = std::chrono::steady_clock::now();
    while (!isReached && std::chrono::steady_clock::now() - start < longestWait) {
        traceLines(1, "before");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

const std::map<std::string, void (*)(int)> threads = {
    {"producer", produce}, {"flush", flush}, {"writer", waitForWriter}};

bool fileHasAll(const temporaryfolder& folder, int lines)
{
    const std::string all = folder.read("trace.log");
    int found = 0;
    for (std::size_t at = all.find("after the fault"); at != std::string::npos;
         at = all.find("after the fault", at + 1)) {
        ++found;
    }
    return found == lines;
}

/// \param arguments  the kind of thread, and the point's number.
int faultAt(const std::vector<std::string>& arguments)
{
    constexpr int linesAfterwards = 100;
    const temporaryfolder folder;
    trace::output(filetracestream(folder.file("trace.log").c_str())).setLevel(tl_info);
    trace::output(lastsink()).setLevel(tl_info);
    threads.at(arguments[0])(std::stoi(arguments[1]));
    const bool wasReached = isReached.exchange(false);
    armed = 0;
    if (!wasReached) {
        return notReachedCode;
    }
    std::thread([] { traceLines(linesAfterwards, "after the fault"); }).join();
    if (!trace::sync(5000)) {
        return 4;
    }
    // a sink in whose work the fault came gets no lines any more
    return fileHasAll(folder, linesAfterwards) || lastsink::lines == linesAfterwards ? 0 : 5;
}

outcome faultAtPoints(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        for (int point = faultpoint::captured; point != faultpoint::end; ++point) {
            bool wasReached = false;
            for (const auto& kind : threads) {
                if (kind.first == "writer" && point < firstOfWriter) {
                    continue;
                }
                const childresult result = runScenario(
                    "fault-at", {kind.first, std::to_string(point)}, sanitizer::withoutLeaks());
                if (!result.timedOut && result.exitCode == notReachedCode) {
                    continue;
                }
                wasReached = true;
                const std::string wrong = wrongEnd(result, 0);
                found.add(wrong.empty() ? wrong
                                        : "point " + std::to_string(point) + " in " + kind.first +
                                              ": " + wrong);
            }
            if (!wasReached) {
                found.add("nobody came to point " + std::to_string(point));
            }
        }
    }
    return found;
}

} // namespace

const char* const programName = "tolvane_reliability_faultpoints";

std::vector<group> allGroups()
{
    return {
        {"faults",
         {{"fault-on-the-road",
           {1, 20, 1, 5},
           "a hardware fault at each of 18 points of a line's road, in a thread that traces, "
           "in one that flushes and in the writer thread",
           "the thread is reported and ended, or the caller gets the fault; lines that come "
           "later are written, but for a sink in whose work the fault came; the process ends in "
           "order",
           faultAtPoints}},
         {{"fault-at", faultAt}}}};
}

} // namespace reliability
