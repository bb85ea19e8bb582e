#include "tests/reliability/children.h"
#include "tests/reliability/platformrows.h"

#include "tests/helpers/temporaryfolder.h"

#include <array>
#include <cstdio>
#include <functional>
#include <sstream>

namespace reliability {

namespace {

/// A run of the program that forks.
struct forking
{
    explicit forking(const std::string& scenario, unsigned long long number = 0,
                     std::chrono::milliseconds limit = scenarioLimit)
        : result(runBeside("tolvane_fork_child",
                           {scenario, folder.file("trace.log"), std::to_string(number)}, {},
                           limit)),
          file(withPlainEnds(folder.read("trace.log")))
    {}

    temporaryfolder folder;
    childresult result;
    std::string file;
};

/// Counts lines, each of which is to be in the file once.
std::string countOnce(outcome& found, const std::string& file,
                      const std::vector<std::string>& texts)
{
    std::string wrong;
    for (const std::string& text : texts) {
        const unsigned long long count = countOf(file, ": " + text + '\n');
        ++found.made;
        found.lost += count == 0 ? 1 : 0;
        if (count != 1 && wrong.empty()) {
            wrong = text + " is there " + std::to_string(count) + " times";
        }
    }
    return wrong;
}

/// How often each text of a line is in a file.
std::map<std::string, unsigned long long> textsOf(const std::string& file)
{
    std::map<std::string, unsigned long long> found;
    std::istringstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        ++found[line.substr(line.rfind(" : ") + 3)];
    }
    return found;
}

/// One parent forks all the children, each odd one of which starts a program; the others trace two
/// lines.
outcome forkAmidTracing(unsigned long long times)
{
    const forking run("inBurst", times, std::chrono::minutes(10));
    unsigned long long ended = 0;
    unsigned long long traced = 0;
    std::sscanf(run.result.output.c_str(), "%llu ended, %llu traced", &ended, &traced);
    const auto texts = textsOf(run.file);
    const bool isTwice =
        std::any_of(texts.begin(), texts.end(), [](const auto& text) { return text.second != 1; });
    outcome found;
    found.runs = times;
    found.made = traced + (times + 1) / 2 * 2;
    found.lost = found.made - std::min<unsigned long long>(found.made, texts.size());
    found.broken = times - ended;
    found.remark = firstOf({wrongEnd(run.result, 0), ended == times ? "" : "a child hung or failed",
                            isTwice ? "lines are torn or there twice" : "",
                            found.made == texts.size() && traced != 0 ? "" : "lines are missing"});
    if (!found.remark.empty() && found.broken == 0) {
        found.broken = 1;
    }
    return found;
}

void forkOnce(outcome& found, unsigned long long)
{
    constexpr int childsCode = 3;
    const forking run("once");
    std::vector<std::string> texts = {"parent goes on."};
    for (int line = 0; line < 100; ++line) {
        texts.push_back("parent " + std::to_string(line) + '.');
    }
    const std::string wrong = countOnce(found, run.file, texts);
    found.add(
        firstOf({wrongEnd(run.result, childsCode), wrong,
                 countOf(run.file, ": child is thread ") == 1 ? "" : "not one child's line"}));
}

void forkDaemon(outcome& found, unsigned long long)
{
    constexpr int childsCode = 4;
    const forking run("daemon");
    const std::string wrong = countOnce(found, run.file, {"parent.", "daemon."});
    found.add(firstOf({wrongEnd(run.result, childsCode), wrong}));
}

void forkBesideStuckSink(outcome& found, unsigned long long)
{
    constexpr int childsCode = 5;
    const forking run("besideStuckSink");
    const std::string wrong = countOnce(found, run.file, {"child."});
    found.add(firstOf({wrongEnd(run.result, childsCode),
                       wrongText("output", run.result.output, "quick\n"), wrong}));
}

void forkGenerations(outcome& found, unsigned long long)
{
    constexpr int deepest = 5;
    const forking run("generations");
    std::vector<std::string> texts;
    for (int depth = 0; depth <= deepest; ++depth) {
        texts.push_back("depth " + std::to_string(depth) + '.');
    }
    const std::string wrong = countOnce(found, run.file, texts);
    found.add(firstOf({wrongEnd(run.result, deepest), wrong}));
}

void forkInSink(outcome& found, unsigned long long)
{
    found.add(wrongEnd(forking("inSink").result, 0));
}

void reportInChild(outcome& found, unsigned long long)
{
    constexpr int stacks = 1;
    const forking run("reporting");
    found.add(firstOf(
        {wrongEnd(run.result, stacks), countOf(run.file, "{anonymous}::reporting\n") == 1
                                           ? ""
                                           : "the child's report names not its own stack alone"}));
}

outcome startPrograms(unsigned long long times)
{
    const forking run("spawning", times, std::chrono::minutes(5));
    outcome found;
    found.runs = times;
    found.made = times + 1;
    const unsigned long long written =
        countOf(run.file, ": between.\n") + countOf(run.file, ": before.\n");
    found.lost = found.made - std::min(found.made, written);
    found.remark = firstOf(
        {wrongEnd(run.result, 0), written == found.made ? "" : std::to_string(written) + " lines"});
    found.broken = found.remark.empty() ? 0 : 1;
    return found;
}

/// Whoever writes: the writer, a thread that flushes or removes the sink, the end of the process.
void writeAgainstSignal(const std::string& destination, outcome& found, unsigned long long run)
{
    static constexpr std::array<const char*, 4> endings = {"producer", "flush", "remove", "exit"};
    const temporaryfolder folder;
    const std::string ending = endings[run % endings.size()];
    const childresult result =
        runBeside("tolvane_process_child", {destination, ending, folder.file("trace.log")});
    const std::string wrong =
        firstOf({wrongEnd(result, 0), contains(result.error, "signals as before")
                                          ? ""
                                          : "the application's dispositions are changed"});
    found.add(wrong.empty() ? "" : ending + ": " + wrong);
}

} // namespace

std::vector<row> platformProcesses()
{
    using namespace std::placeholders;
    return {
        {"fork-amid-tracing",
         {20, 1000, 10, 200},
         "a fork while 8 threads trace; the child traces and ends, or starts a program",
         "No child hangs, no line is lost, torn or written twice, the parent's and the children's.",
         forkAmidTracing},
        {"fork-with-queue",
         {5, 1000, 2, 100},
         "a fork with 100 lines queued",
         "They are written once, by the parent.",
         eachTime(forkOnce)},
        {"fork-daemon",
         {2, 1000, 1, 100},
         "a forked daemon traces a line, waits for it and ends by _exit",
         "The child has a writer of its own, and the line comes out while it lives.",
         eachTime(forkDaemon)},
        {"fork-beside-stuck-sink",
         {1, 20, 1, 10},
         "a fork while another thread does not come back from a sink",
         "It waits a second at most; the child goes without that sink.",
         eachTime(forkBesideStuckSink),
         true},
        {"fork-generations",
         {2, 1000, 1, 100},
         "children of children, five deep, trace",
         "Every line is written once.",
         eachTime(forkGenerations)},
        {"fork-in-sink",
         {2, 1000, 1, 100},
         "a sink forks and starts a program within log()",
         "It is started, and nothing hangs.",
         eachTime(forkInSink)},
        {"report-in-child",
         {2, 1000, 1, 100},
         "a report in a child whose parent has another thread",
         "It has the stack of the child's own thread alone.",
         eachTime(reportInChild)},
        {"programs-started",
         {10, 1000, 5, 200},
         "programs are started by posix_spawn, vfork and system while lines are traced",
         "They start, and no line is lost.",
         startPrograms},
        {"size-limit-signal",
         {4, 400, 4, 40},
         "a trace file is at the process's size limit when the writer, a flush, a removal or the "
         "end writes",
         "No SIGXFSZ comes of it, and the application's dispositions are as before.",
         eachTime(std::bind(writeAgainstSignal, "file", _1, _2))},
        {"closed-pipe-signal",
         {4, 400, 4, 40},
         "nobody reads the pipe that the same write to",
         "No SIGPIPE comes of it, and the application's dispositions are as before.",
         eachTime(std::bind(writeAgainstSignal, "pipe", _1, _2))},
    };
}

} // namespace reliability
