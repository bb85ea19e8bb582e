#include "tests/reliability/children.h"
#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/platformrows.h"

#include "tests/helpers/foreignthread.h"
#include "tests/helpers/hardfault.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace reliability {

namespace {

constexpr const char* reportStart = "Unhandled Exception. Trace follows:\n";
constexpr const char* stackEnd = ": stacktrace::FaultHandler : \n";

[[noreturn]] void throwError()
{
    throw std::runtime_error("nobody catches this");
}

/// What nobody catches.
struct uncaught
{
    const char* name;
    void (*cause)();
    const char* type;
    const char* text; ///< how its what() ends
};

constexpr std::array<uncaught, 3> allUncaught = {{
    {"exception", throwError, "std::runtime_error", "nobody catches this\n"},
    {"fault", [] { hardfault::raise(); }, "StructuredException", "STATUS_ACCESS_VIOLATION.\n"},
    {"overflow", [] { static_cast<void>(hardfault::goDeeper(0)); }, "StructuredException",
     "STATUS_STACK_OVERFLOW.\n"},
}};

const uncaught& uncaughtOf(const std::string& name)
{
    return *std::find_if(allUncaught.begin(), allUncaught.end(),
                         [&name](const uncaught& each) { return name == each.name; });
}

constexpr unsigned long long linesBeside = 200;

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "beside " << line;
    }
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return withPlainEnds(
        std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

std::atomic<bool> isTracing{false};

/// Whether the lines of traceBeside() are in the file, or counted: the thread that writes a report
/// may not be scheduled for longer than a busy sink is waited for.
bool isEachWrittenOrCounted(const std::string& path)
{
    return trace::sync(generousWait) &&
           countOf(readFile(path), ": beside ") + trace::lost(trace::busySink) >= linesBeside;
}

/// Traces before another thread's report, and when that is complete, and ends the process.
void traceBeside(const std::string& path)
{
    constexpr unsigned int threads = 2;
    TOLVANE_SCOPE(log);
    traceLines(linesBeside / 2);
    isTracing = true;
    while (countOf(readFile(path), stackEnd) != threads) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    traceLines(linesBeside / 2);
    std::_Exit(isEachWrittenOrCounted(path) ? 0 : 1);
}

void enter(void* cause)
{
    stacktrace::installHandlers();
    TOLVANE_SCOPE(log);
    static_cast<const uncaught*>(cause)->cause();
}

/// Ends a thread while another one traces. Arguments: by what, which thread, and the trace file.
int endThread(const std::vector<std::string>& arguments)
{
    uncaught what = uncaughtOf(arguments[0]);
    const std::string& where = arguments[1];
    trace::output(filetracestream(arguments[2].c_str())).setLevel(tl_info);
    std::thread beside(traceBeside, arguments[2]);
    while (!isTracing) {
        std::this_thread::yield();
    }
    if (where == "main") {
        enter(&what);
    } else if (where == "thread") {
        std::thread([&what]() noexcept { enter(&what); }).join();
    } else {
        foreignthread::run([](void* cause) noexcept { enter(cause); }, &what);
    }
    beside.join();
    return 0;
}

/// One report, with all stacks and nothing between its lines but other lines.
std::string wrongReports(const std::string& name, const std::string& text, unsigned int reports,
                         unsigned int stacks)
{
    const unsigned long long started = countOf(text, reportStart);
    const unsigned long long ended = countOf(text, stackEnd);
    return started == reports && ended == stacks
               ? ""
               : name + " has " + std::to_string(started) + " reports with " +
                     std::to_string(ended) + " stacks";
}

/// The text that says what nobody caught is before all reports.
std::string wrongUncaughtText(const uncaught& what, const std::string& error)
{
    const std::string start =
        std::string("terminate called after throwing an instance of '") + what.type + "'\n";
    const std::size_t report = error.find(reportStart);
    const std::size_t text = error.find(what.text);
    return error.compare(0, start.size(), start) == 0 && text < report
               ? ""
               : "standard error does not say what nobody caught";
}

void endOneThread(const uncaught& what, outcome& found, unsigned long long run)
{
    static constexpr std::array<const char*, 3> threads = {"main", "thread", "foreign"};
    const temporaryfolder folder;
    const std::string path = folder.file("trace.log");
    const childresult result = withPlainEnds(runScenario(
        "end-thread", {what.name, threads[run % threads.size()], path}, sanitizer::withoutLeaks()));
    const std::string file = readFile(path);
    found.made += linesBeside;
    found.lost += linesBeside - std::min(linesBeside, countOf(file, ": beside "));
    found.add(firstOf({wrongEnd(result, 0), wrongReports("the file", file, 1, 2),
                       wrongReports("standard error", result.error, 1, 2),
                       wrongUncaughtText(what, result.error)}));
}

/// A row about something that nobody catches.
row uncaughtRow(const uncaught& what, const char* name, const std::string& injected)
{
    return {name,
            {3, 1000, 3, 60},
            injected + ", in turns: main, std::thread, the system's own; another one traces",
            "One report, with all stacks; before it standard error has type and what(). The thread "
            "ends, the process and its other threads go on. Lines beside it that a sink is too "
            "busy for are counted.",
            eachTime([&what](outcome& found, unsigned long long run) {
                endOneThread(what, found, run);
            })};
}

/// Two threads fault at the same moment. Argument: the trace file.
int faultTogether(const std::vector<std::string>& arguments)
{
    static std::atomic<int> ready{0};
    constexpr int count = 2;
    trace::output(filetracestream(arguments[0].c_str())).setLevel(tl_info);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back([]() noexcept {
            TOLVANE_SCOPE(log);
            for (++ready; ready != count;) {
            }
            hardfault::raise();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    traceLines(linesBeside);
    return isEachWrittenOrCounted(arguments[0]) ? 0 : 1;
}

/// Both reports; the second one's text about what nobody caught may stand before the end of a line
/// of the first one's.
std::string wrongPair(const std::string& name, const std::string& text)
{
    constexpr unsigned int reports = 2;
    // a stack of the other thread's is there, or not, depending on how far that one is
    const bool isWhole = countOf(text, ": Unhandled Exception. Trace follows:") == reports &&
                         countOf(text, ": -->stacktrace::FaultHandler") >= reports;
    return isWhole ? "" : name + " does not have two whole reports";
}

void faultTwice(outcome& found, unsigned long long)
{
    const temporaryfolder folder;
    const std::string path = folder.file("trace.log");
    const childresult result =
        withPlainEnds(runScenario("fault-together", {path}, sanitizer::withoutLeaks()));
    const std::string file = readFile(path);
    found.made += linesBeside;
    found.lost += linesBeside - std::min(linesBeside, countOf(file, ": beside "));
    found.add(firstOf({wrongEnd(result, 0), wrongPair("the file", file),
                       wrongPair("standard error", result.error),
                       filelines(path).torn == 0 ? "" : "torn lines"}));
}

/// A run of the application of the tests about faults.
struct application
{
    explicit application(const std::string& scenario, const std::string& argument = "",
                         std::chrono::milliseconds limit = scenarioLimit)
        : result(runBeside("tolvane_fault_application",
                           {scenario, folder.file("trace.log"), argument}, {}, limit)),
          file(withPlainEnds(folder.read("trace.log")))
    {}

    temporaryfolder folder;
    childresult result;
    std::string file;
};

std::string missing(const std::string& name, const std::string& text, const std::string& part)
{
    return contains(text, part) ? "" : name + " has no " + part;
}

void reportBesideStuckSink(outcome& found, unsigned long long)
{
    const application run("besideStuckSink");
    found.add(
        firstOf({wrongEnd(run.result, 0), wrongText("output", run.result.output, "reported\n"),
                 missing("standard error", run.result.error, ": stuck. Trace follows:\n"),
                 missing("standard error", run.result.error, stackEnd)}));
}

/// Five reports; each thread is a run, since each has to be in all of them.
outcome reportAmidFlood(unsigned long long threads)
{
    constexpr unsigned long long reports = 5;
    const application run("flooded", std::to_string(threads), std::chrono::minutes(5));
    outcome found;
    found.runs = threads;
    found.made = reports * (2 * threads + 3);
    std::string wrong = wrongEnd(run.result, 0);
    if (wrong.empty() && run.result.output != "complete\n") {
        const unsigned long long written = std::strtoull(run.result.output.c_str(), nullptr, 10);
        found.lost = found.made - std::min(found.made, written);
        wrong = "reports are incomplete: " + run.result.output;
    }
    found.broken = wrong.empty() ? 0 : 1;
    found.remark = wrong;
    return found;
}

/// Lines that are to be in the file of a run.
void countLines(outcome& found, const std::string& file, const std::vector<std::string>& expected)
{
    found.made += expected.size();
    for (const std::string& line : expected) {
        found.lost += contains(file, line) ? 0U : 1U;
    }
}

void overflowInSink(outcome& found, unsigned long long)
{
    const application run("overflowInSink");
    countLines(found, run.file, {": first\n", ": second\n"});
    found.add(firstOf({wrongEnd(run.result, 0), wrongText("output", run.result.output, "written\n"),
                       missing("the file", run.file, ": second\n")}));
}

void endWithinSink(outcome& found, unsigned long long)
{
    const application run("endInSink");
    countLines(found, run.file, {": afterwards\n"});
    found.add(firstOf({wrongEnd(run.result, 0), wrongText("output", run.result.output, "written\n"),
                       missing("the file", run.file, ": afterwards\n")}));
}

/// The writer's own fault in a sink, or that of a thread that has to write.
void faultInSink(outcome& found, unsigned long long run)
{
    const bool isWriter = run % 2 == 0;
    const temporaryfolder folder;
    const childresult result = runBeside(
        "tolvane_sink_child", {isWriter ? "inWriter" : "inProducer", folder.file("trace.log")});
    const std::string file = withPlainEnds(folder.read("trace.log"));
    std::vector<std::string> lines;
    for (int line = 0; line < 5; ++line) {
        lines.push_back(" second " + std::to_string(line) + '\n');
    }
    const unsigned long long lostBefore = found.lost;
    countLines(found, file, lines);
    found.add(firstOf(
        {wrongEnd(result, 0), missing("standard error", result.error, reportStart),
         missing("output", result.output, isWriter ? "written by a new writer" : "all is written"),
         found.lost == lostBefore ? "" : "another sink lost lines"}));
}

void ownTerminateHandler(outcome& found, unsigned long long run)
{
    constexpr int ownCode = 7;
    const application child("ownTerminate", run % 2 == 0 ? "error" : "fault");
    found.add(firstOf(
        {wrongEnd(child.result, ownCode), missing("output", child.result.output, "own handler: "),
         contains(child.result.error, "Trace follows") ? "a report was written" : ""}));
}

void reportAndEnd(outcome& found, unsigned long long)
{
    constexpr int givenStatus = 42;
    const application run("reportingAndEnding");
    countLines(found, run.file, {": before\n", ": all is lost. Trace follows:\n"});
    found.add(
        firstOf({wrongEnd(run.result, givenStatus), missing("the file", run.file, ": before\n"),
                 missing("the file", run.file, ": all is lost. Trace follows:\n"),
                 missing("standard error", run.result.error, ": all is lost. Trace follows:\n")}));
}

/// The system ends the process, so that its exit code is the system's.
void withoutHandlers(outcome& found, unsigned long long)
{
    const application run("uninstalled");
    found.add(firstOf({run.result.timedOut ? "it hung" : "",
                       run.result.exitCode == 0 ? "the process went on" : "",
                       wrongText("output", run.result.output, "uninstalled\n"),
                       contains(run.result.error, "Trace follows") ? "a report was written" : ""}));
}

} // namespace

group faultRows()
{
    group rows{
        "faults",
        {
            uncaughtRow(allUncaught[0], "uncaught-exception",
                        "an exception that nobody catches leaves a thread"),
            uncaughtRow(allUncaught[1], "uncaught-fault", "a thread reads where no memory is"),
            uncaughtRow(allUncaught[2], "stack-overflow",
                        "a thread that called installHandlers() uses up its stack"),
            {"two-faults-at-once",
             {5, 1000, 2, 100},
             "two threads fault at the same moment",
             "Two whole reports; both threads end, and main goes on. Lines beside them that a sink "
             "is too busy for are counted. On standard error the text about what nobody caught may "
             "stand before the end of a line of the other report.",
             eachTime(faultTwice)},
            {"report-beside-stuck-sink",
             {1, 20, 1, 10},
             "a report while a sink does not come back",
             "It waits a second at most and goes to standard error alone, past the sinks.",
             eachTime(reportBesideStuckSink),
             true},
            {"report-amid-flood",
             {100, 2000, 10, 200},
             "five reports while as many threads as the third column says trace at full speed",
             "Every report is whole and has the stacks of all threads.",
             reportAmidFlood},
            {"stack-overflow-in-sink",
             {1, 200, 1, 50},
             "a sink uses up the stack of the writer",
             "The sink gets nothing more, the report is written; a new writer writes for the "
             "others.",
             eachTime(overflowInSink)},
            {"fault-in-sink",
             {2, 200, 2, 50},
             "a sink faults, in turns on the writer and on a thread that has to write",
             "The fault is reported and ends that thread. The sink gets nothing more, the others "
             "get every line.",
             eachTime(faultInSink)},
            {"thread-ended-in-sink",
             {1, 200, 1, 50},
             "what leaves a noexcept function of a sink ends the writer, and then a thread that "
             "flushes",
             "Nobody waits for that thread; the sink gets nothing more, the others go on.",
             eachTime(endWithinSink)},
            {"own-terminate-handler",
             {2, 200, 2, 50},
             "an exception and a fault, in turns, with a terminate handler of the application's",
             "The application's handler gets it; nothing is reported.",
             eachTime(ownTerminateHandler)},
            {"report-and-end",
             {2, 1000, 1, 100},
             "reportAndEnd with a line queued",
             "What waits and then the report are in the sinks; the process ends with the given "
             "status.",
             eachTime(reportAndEnd)},
            {"uninstalled-handlers",
             {1, 200, 1, 50},
             "a fault behind uninstallHandlers",
             "The system ends the process, as it would without the library.",
             eachTime(withoutHandlers)},
        },
        {
            {"end-thread", endThread},
            {"fault-together", faultTogether},
        }};
    append(rows.rows, platformFaults());
    return rows;
}

} // namespace reliability
