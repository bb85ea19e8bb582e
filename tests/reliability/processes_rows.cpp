#include "tests/reliability/children.h"
#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/platformrows.h"

#include "tests/helpers/temporaryfolder.h"

#include <tolvane/flushguard.h>
#include <tolvane/tolvane.h>

#include <thread>

namespace reliability {

namespace {

/// A run of the program that loads and unloads plugins.
struct pluginhost
{
    explicit pluginhost(const std::string& scenario, unsigned long long rounds = 0,
                        std::chrono::milliseconds limit = scenarioLimit)
        : result(runBeside("tolvane_plugin_host",
                           {scenario, folder.file("trace.log"), std::to_string(rounds)}, {},
                           limit)),
          lines(countOf(folder.read("trace.log"), "\r\n"))
    {}

    temporaryfolder folder;
    childresult result;
    unsigned long long lines;
};

std::string wrongCount(unsigned long long found, unsigned long long expected)
{
    return found >= expected ? "" : std::to_string(expected - found) + " lines are missing";
}

void countLines(outcome& found, unsigned long long written, unsigned long long made)
{
    found.made += made;
    found.lost += made - std::min(made, written);
}

/// The plugin's sink is attached when it is unloaded, and lines come afterwards.
void unloadWithSink(outcome& found, unsigned long long)
{
    constexpr unsigned long long lines = 3 + 5 + 5; // those of reports come on top
    const pluginhost run("traceAfterwards");
    countLines(found, run.lines, lines);
    found.add(
        firstOf({wrongEnd(run.result, 0),
                 wrongText("output", run.result.output, "unloaded\nall is written\nand again\n"),
                 wrongCount(run.lines, lines)}));
}

void endWithUnloadedSink(outcome& found, unsigned long long run)
{
    const bool withLines = run % 2 != 0;
    const pluginhost host(withLines ? "exitWithLines" : "exitAtOnce");
    const unsigned long long made = withLines ? 3 + 5 : 3;
    const bool areKept = !withLines || childprocess::threadsRunDuringExit();
    countLines(found, host.lines, made);
    found.add(
        firstOf({wrongEnd(host.result, 0), wrongText("output", host.result.output, "unloaded\n"),
                 areKept ? wrongCount(host.lines, made) : ""}));
}

/// All in one process: each round loads the plugin, uses it and unloads it.
outcome loadAgain(unsigned long long times)
{
    const pluginhost host("loadManyTimes", times, std::chrono::minutes(5));
    const unsigned long long made = times + times / 2 * 3;
    outcome found;
    found.runs = times;
    countLines(found, host.lines, made);
    found.remark =
        firstOf({wrongEnd(host.result, 0),
                 wrongText("output", host.result.output, "unloaded\nthe library stays\n"),
                 wrongCount(host.lines, made)});
    found.broken = found.remark.empty() ? 0 : 1;
    return found;
}

void unloadLibrary(outcome& found, unsigned long long)
{
    constexpr unsigned long long lines = 2;
    const pluginhost host("unloadLibrary");
    countLines(found, host.lines, lines);
    found.add(firstOf({wrongEnd(host.result, 0),
                       wrongText("output", host.result.output, "all is written\n"),
                       wrongCount(host.lines, lines)}));
}

constexpr unsigned long long guardedLines = 1000;
constexpr int guardingThreads = 4;

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "guarded " << line;
    }
}

/// Returns behind a guard with all lines queued. Argument: the trace file.
int returnGuarded(const std::vector<std::string>& arguments)
{
    const tolvane::FlushGuard guard;
    trace::output(filetracestream(arguments[0].c_str())).setLevel(tl_info);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < guardingThreads; ++thread) {
        threads.emplace_back(traceLines, guardedLines / guardingThreads);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}

void endGuarded(outcome& found, unsigned long long)
{
    const temporaryfolder folder;
    const std::string path = folder.file("trace.log");
    const childresult result = runScenario("guarded", {path});
    const filelines file(path);
    countLines(found, file.whole, guardedLines);
    found.add(firstOf({wrongEnd(result, 0), wrongCount(file.whole, guardedLines),
                       file.torn == 0 ? "" : "torn lines"}));
}

} // namespace

group processRows()
{
    group rows{
        "processes",
        {
            {"plugin-unloaded-with-sink",
             {1, 200, 1, 50},
             "a plugin is unloaded while a sink with code of its own is attached, and lines come",
             "The sink gets no line; what calls it is reported as the fault that it is, and the "
             "other sinks lose nothing.",
             eachTime(unloadWithSink)},
            {"end-with-unloaded-sink",
             {2, 200, 2, 50},
             "the process ends with such a sink, with and without lines queued",
             "Neither crash nor hang, and nothing is lost on Linux; on Windows what is queued may "
             "be.",
             eachTime(endWithUnloadedSink)},
            {"plugin-loaded-again",
             {200, 1000, 20, 1000},
             "a plugin that links the library is loaded, traces and is unloaded",
             "No crash, and nothing is lost; the library itself stays.",
             loadAgain},
            {"library-unloaded",
             {1, 200, 1, 50},
             "the library itself is unloaded ten times while it is in use",
             "It stays where it is, and goes on writing.",
             eachTime(unloadLibrary)},
            {"flush-guard",
             {5, 1000, 3, 100},
             "main returns with 1000 lines of 4 threads queued, behind a FlushGuard",
             "Nothing is lost, on Windows either.",
             eachTime(endGuarded)},
        },
        {
            {"guarded", returnGuarded},
        }};
    append(rows.rows, platformProcesses());
    return rows;
}

} // namespace reliability
