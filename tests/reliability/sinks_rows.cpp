#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/helpers/attached.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <array>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace reliability {

namespace {

using std::chrono::steady_clock;

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

void throwSomething(unsigned long long number)
{
    switch (number % 4) {
    case 0:
        throw std::runtime_error("the sink's own trouble");
    case 1:
        throw std::bad_alloc();
    case 2:
        throw 42;
    default:
        break;
    }
}

/// Whether the lines that a throwing sink lost are those that were counted, and the others had all.
std::string wrongAfterThrows(unsigned long long made, unsigned long long lost,
                             const actingsink& throwing, const actingsink& beside,
                             const filelines& file)
{
    if (lost != made - throwing.written()) {
        return std::to_string(lost) + " lines were counted as lost";
    }
    if (throwing.called() != made || beside.written() != made || file.whole != made) {
        return "of " + std::to_string(made) + " lines the sinks were given " +
               std::to_string(throwing.called()) + ", " + std::to_string(beside.written()) +
               " and " + std::to_string(file.whole);
    }
    return file.torn == 0 ? "" : "torn lines";
}

outcome throwingSink(unsigned long long times)
{
    constexpr unsigned long long lines = 100;
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        const actingsink throwing(1, throwSomething);
        const actingsink beside(2);
        const filetracestream file(folder.file("trace.log").c_str());
        const unsigned long long lostBefore = trace::lost();
        {
            const attached first(throwing, tl_info);
            const attached second(beside, tl_info);
            const attached third(file, tl_info);
            traceLines(lines);
            trace::sync(generousWait);
        }
        const filelines written(folder.file("trace.log"));
        found.made += 3 * lines;
        found.lost += 3 * lines - throwing.written() - beside.written() - written.whole;
        found.add(wrongAfterThrows(lines, trace::lost() - lostBefore, throwing, beside, written));
    }
    return found;
}

/// Threads that trace until they are told to end, and how long a line took them at most.
class tracers
{
public:
    explicit tracers(int count)
    {
        for (int thread = 0; thread < count; ++thread) {
            m_threads.emplace_back([this] { work(); });
        }
    }

    /// \return how many lines they made.
    unsigned long long stop()
    {
        m_goOn = false;
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        return m_made;
    }

    std::chrono::milliseconds longest() const { return std::chrono::milliseconds(m_longest); }

private:
    /// Bursts with pauses, as programs have them.
    void work()
    {
        long long longest = 0;
        while (m_goOn) {
            const steady_clock::time_point start = steady_clock::now();
            traceLines(burst);
            const auto took =
                std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start);
            longest = std::max<long long>(longest, took.count());
            m_made += burst;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        long long known = m_longest;
        while (known < longest && !m_longest.compare_exchange_weak(known, longest)) {
        }
    }

    static constexpr unsigned long long burst = 20;

    std::vector<std::thread> m_threads;
    std::atomic<bool> m_goOn{true};
    std::atomic<unsigned long long> m_made{0};
    std::atomic<long long> m_longest{0};
};

constexpr int tracerCount = 4;
constexpr std::chrono::seconds blockTime{5};

/// Far less than the sink blocks for, and more than a busy machine takes.
constexpr std::chrono::seconds longestHold{2};

void blockOnce(unsigned long long number)
{
    if (number == 1) {
        std::this_thread::sleep_for(blockTime);
    }
}

/// Lines behind the sink's return.
std::string wrongAfterReturn(const actingsink& blocking, const std::string& path)
{
    constexpr unsigned long long lines = 100;
    const unsigned long long before = blocking.written();
    const unsigned long long fileBefore = filelines(path).whole;
    traceLines(lines);
    if (!trace::sync(generousWait)) {
        return "the writer did not get on when the sink had returned";
    }
    const filelines file(path);
    return blocking.written() - before == lines && file.whole - fileBefore == lines &&
                   file.torn == 0
               ? ""
               : "lines are missing behind the sink's return";
}

outcome sinkThatBlocks(unsigned long long times)
{
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        const std::string path = folder.file("trace.log");
        const actingsink blocking(1, blockOnce);
        const filetracestream file(path.c_str());
        const attached first(blocking, tl_info);
        const attached second(file, tl_info);
        const unsigned long long lostBefore = trace::lost();
        tracers tracing(tracerCount);
        std::this_thread::sleep_for(blockTime);
        const unsigned long long made = tracing.stop();
        const bool isDone = trace::sync(generousWait);
        const unsigned long long missing = 2 * made - blocking.written() - filelines(path).whole;
        found.made += 2 * made;
        found.lost += missing;
        if (tracing.longest() > longestHold) {
            found.add("a thread that traced was held up for " +
                      std::to_string(tracing.longest().count()) + " ms");
        } else if (!isDone || missing != trace::lost() - lostBefore) {
            found.add(std::to_string(missing) + " lines are missing, " +
                      std::to_string(trace::lost() - lostBefore) + " were counted");
        } else {
            found.add(wrongAfterReturn(blocking, path));
        }
    }
    return found;
}

void blockForEver(unsigned long long)
{
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// Traces beside a sink that never returns, uses what does not wait for sinks, and ends.
int besideStuckSink(const std::vector<std::string>& arguments)
{
    constexpr unsigned long long lines = 10000;
    trace::output(filetracestream(arguments[0].c_str())).setLevel(tl_info);
    traceLines(1);
    trace::sync(generousWait);
    const actingsink stuck(1, blockForEver);
    trace::output(stuck).setLevel(tl_info);
    traceLines(1); // which the writer takes
    while (stuck.called() == 0) {
        std::this_thread::yield();
    }
    std::vector<std::thread> threads;
    for (int thread = 0; thread < tracerCount; ++thread) {
        threads.emplace_back([] { traceLines(lines / tracerCount); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    trace::flush(0);
    trace::flush(20);
    trace::setLevel(tl_info);
    const bool isStuck = !trace::sync(20);
    std::printf("%llu\n", 2 * lines + 3);
    return isStuck ? 0 : 1;
}

outcome sinkThatIsStuck(unsigned long long times)
{
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        const std::string path = folder.file("trace.log");
        const childresult result = runScenario("stuck-sink", {path});
        const unsigned long long made = std::strtoull(result.output.c_str(), nullptr, 10);
        const filelines file(path);
        found.made += made;
        found.lost += made > file.whole ? made - file.whole : 0;
        std::string wrong = wrongEnd(result, 0);
        if (wrong.empty() && (file.whole == 0 || file.torn != 0)) {
            wrong = "the file is not as it was when the sink got stuck";
        }
        found.add(wrong);
    }
    return found;
}

} // namespace

group sinkRows()
{
    return {
        "sinks",
        {
            {"throwing-sink",
             {10, 1000, 5, 200},
             "a sink throws at three of four lines, beside a file and another sink",
             "What a sink throws costs this sink this line, which is counted as lost, and "
             "nothing else.",
             throwingSink},
            {"sink-blocks-5s",
             {1, 10, 1, 3},
             "a sink of the application's blocks for 5 s while 4 threads trace",
             "No thread that traces waits for it; what comes meanwhile is lost for all sinks "
             "and counted; afterwards every line arrives.",
             sinkThatBlocks,
             true},
            {"sink-blocks-for-ever",
             {1, 20, 1, 10},
             "the writer never comes back from a sink, 4 threads trace and flush, main returns",
             "Nobody else waits for that sink, and the exit ten seconds at most; the file beside "
             "it keeps what it had by then, and the rest is lost.",
             sinkThatIsStuck,
             true},
        },
        {
            {"stuck-sink", besideStuckSink},
        }};
}

} // namespace reliability
