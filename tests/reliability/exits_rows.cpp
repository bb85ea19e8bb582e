#include "tests/reliability/exits.h"
#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <cstdlib>
#include <thread>

namespace reliability {

namespace {

constexpr unsigned long long mainsLines = 500;

std::vector<exitway> allExits()
{
    const bool keepsLines = childprocess::threadsRunDuringExit();
    std::vector<exitway> ways = {
        {"return", "main returns", 0, keepsLines, promiseOfReturn, [] {}},
        {"exit", "exit", 2, keepsLines, promiseOfReturn, [] { std::exit(2); }},
        {"immediate-exit", "_Exit", 3, false, promiseOfOthers, [] { std::_Exit(3); }},
        {"abort", "abort", abortCode(), false, promiseOfOthers, [] { std::abort(); }},
    };
    const std::vector<exitway> more = platformExits();
    ways.insert(ways.end(), more.begin(), more.end());
    return ways;
}

void traceBeside(const char* name, unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << name << ' ' << line << " end";
    }
}

/// Leaves while three threads trace and lines wait. Arguments: how, and the trace file.
int leaveTracing(const std::vector<std::string>& arguments)
{
    static std::atomic<int> tracing{0};
    constexpr int threads = 3;
    trace::output(filetracestream(arguments[1].c_str())).setLevel(tl_info);
    for (int thread = 0; thread < threads; ++thread) {
        std::thread([] {
            traceBeside("beside", 1);
            ++tracing;
            for (;;) {
                traceBeside("beside", 10);
                std::this_thread::yield();
            }
        }).detach();
    }
    while (tracing != threads) {
        std::this_thread::yield();
    }
    traceBeside("main", mainsLines);
    for (const exitway& way : allExits()) {
        if (arguments[0] == way.name) {
            keepHeapWhole();
            way.leave();
        }
    }
    return 0;
}

/// What is in the file of such a process.
struct leftlines
{
    explicit leftlines(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        std::string line;
        while (std::getline(file, line)) {
            const bool isWhole = line.size() > 5 && line.front() == '[' &&
                                 line.compare(line.size() - 5, 5, " end\r") == 0;
            torn += !isWhole && !file.eof() ? 1U : 0U;
            mains += isWhole && line.find(" : main ") != std::string::npos ? 1U : 0U;
        }
    }

    unsigned long long mains = 0; ///< lines of the main thread
    unsigned long long torn = 0;  ///< the last line not counted
};

/// Runs that the system spoils are no runs of the library's, and are made again.
childresult runUnspoiled(const exitway& way, const std::string& path)
{
    constexpr int mostTries = 10;
    childresult result;
    for (int tries = 0; tries < mostTries; ++tries) {
        std::filesystem::remove(path);
        result = runScenario("leave", {way.name, path});
        if (result.exitCode != systemFailureCode()) {
            break;
        }
    }
    return result;
}

outcome leaveBy(const exitway& way, unsigned long long times)
{
    outcome found;
    const temporaryfolder folder;
    for (unsigned long long run = 0; run < times; ++run) {
        const std::string path = folder.file("trace.log");
        const childresult result = runUnspoiled(way, path);
        const leftlines left(path);
        const unsigned long long lost = mainsLines - left.mains;
        found.made += mainsLines;
        found.lost += lost;
        std::string wrong = wrongEnd(result, way.code);
        if (wrong.empty() && way.keepsLines && lost != 0) {
            wrong = std::to_string(lost) + " lines were lost";
        } else if (wrong.empty() && left.torn != 0) {
            wrong = "torn lines";
        }
        found.add(wrong);
    }
    return found;
}

} // namespace

group exitRows()
{
    static const std::vector<exitway> ways = allExits();
    group rows{"exits", {}, {{"leave", leaveTracing}}};
    for (const exitway& way : ways) {
        rows.rows.push_back(
            {"exit-by-" + std::string(way.name),
             {10, 1000, 5, 100},
             std::string(way.injected) + ", with lines queued and 3 threads tracing",
             way.promise,
             [&way](unsigned long long times) { return leaveBy(way, times); }});
    }
    return rows;
}

} // namespace reliability
