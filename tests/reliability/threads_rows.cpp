#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/reliability/threadlimit.h"

#include "tests/helpers/attached.h"
#include "tests/helpers/foreignthread.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace reliability {

static void inner(unsigned long long number)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "thread " << number;
}

static void outer(unsigned long long number)
{
    TOLVANE_SCOPE(log);
    inner(number);
}

namespace {

/// What a copy of a stack holds that it never held.
std::string wrongStack(const stacktrace& stack)
{
    static const char* const names[] = {"reliability::outer", "reliability::inner"};
    if (stack.size() > 2) {
        return "a stack of " + std::to_string(stack.size()) + " functions";
    }
    for (unsigned long long depth = 0; depth < stack.size(); ++depth) {
        const hashedfunction* const function = stack[depth];
        if (!function || function->name().compare(names[depth]) != 0) {
            return "a stack with another function than ran";
        }
    }
    return "";
}

/// Reads all stacks until it is told to end.
void readStacks(const std::atomic<bool>& goOn, std::string& wrong)
{
    while (goOn) {
        for (const stacktrace& stack : stacktrace::getTraces()) {
            if (wrong.empty()) {
                wrong = wrongStack(stack);
            }
        }
    }
}

outcome threadsComeAndGo(unsigned long long times)
{
    constexpr unsigned long long together = 20;
    outcome found;
    const actingsink sink(1);
    const attached attachment(sink, tl_info);
    const unsigned long long lostBefore = trace::lost();
    std::atomic<bool> goOn{true};
    std::string wrong;
    std::thread reader([&] { readStacks(goOn, wrong); });
    while (found.runs < times) {
        std::vector<std::thread> threads;
        for (unsigned long long thread = 0; thread < together && found.runs < times; ++thread) {
            threads.emplace_back(outer, found.runs);
            found.add("");
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    goOn = false;
    reader.join();
    trace::sync(generousWait);
    found.made = times;
    found.lost = times - sink.written();
    if (found.lost != trace::lost() - lostBefore) {
        wrong = std::to_string(found.lost) + " lines are missing, " +
                std::to_string(trace::lost() - lostBefore) + " were counted";
    }
    found.broken = wrong.empty() ? 0 : 1;
    found.remark = wrong;
    return found;
}

constexpr std::size_t smallStack = 64 * 1024;
constexpr unsigned long long linesOfSmallStack = 6;

/// All that a thread does with the library, the writing of lines included.
void useEverything()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "text" << 1 << L"wide" << 2.5 << true << nullptr;
    TOLVANE_LOG(log, tl_info) << std::string(5000, 'x');
    TOLVANE_LOGF(log, tl_info, "%d of %s", 1, "many");
    log(tl_info) << L"by stream " << 42 << 3.25 << std::endl;
    traceobject stream(log_function, nullptr);
    stream(tl_info) << L"by a stream of its own" << std::endl;
    const hashedfunction& function = trace::registerfunction(
        "std::map<int, std::vector<std::pair<a::b, c> > > small::stack<int, 3>::run(int (*)(int))");
    trace::setLevel(tl_info, function.name());
    trace::level(std::string("small::other::f"));
    trace::clearLevels(L"small");
    stacktrace::getTraces();
    try {
        throw std::runtime_error("as programs do");
    } catch (const std::exception& failure) {
        TOLVANE_LOG(log, tl_info) << failure.what();
    }
    trace::flush(0);
    trace::flush(10);
    trace::sync(generousWait);
}

outcome smallStacks(unsigned long long times)
{
    outcome found;
    const temporaryfolder folder;
    const std::string path = folder.file("trace.log");
    const actingsink sink(1);
    const attached first(sink, tl_info);
    const filetracestream fileSink(path.c_str());
    const attached second(fileSink, tl_info);
    const rotatingfilestracestream rotatingSink(folder.file("rotated.log").c_str(), 3, 1, 1);
    const attached third(rotatingSink, tl_info);
    std::wostringstream stream;
    const ostreamtracestream<wchar_t> streamSink(stream);
    const attached fourth(streamSink, tl_info);
    const unsigned long long lostBefore = trace::lost();
    for (unsigned long long run = 0; run < times; ++run) {
        const unsigned long long before = sink.written();
        const bool isStarted =
            foreignthread::run([](void*) { useEverything(); }, nullptr, smallStack);
        found.add(!isStarted                                     ? "no thread with such a stack"
                  : sink.written() - before == linesOfSmallStack ? ""
                                                                 : "lines are missing");
    }
    found.made = times * linesOfSmallStack;
    found.lost = found.made - sink.written();
    if (trace::lost() != lostBefore || filelines(path).whole != found.made) {
        found.broken = std::max(found.broken, 1ULL);
        found.remark = "lines are missing in a file";
    }
    return found;
}

/// Exit codes of a process that cannot start a writer.
enum writerless : int
{
    wl_fine = 0,
    wl_hasThreads = 10, ///< the limit serves nothing
    wl_notFlushed = 11,
    wl_notBounded = 12,
    wl_notSynced = 13,
    wl_noWriterLater = 14,
};

void traceLines(int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

bool canStartThread()
{
    try {
        std::thread([] {}).join();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

writerless traceWithoutWriter(const std::string& path)
{
    if (canStartThread()) {
        return wl_hasThreads;
    }
    traceLines(10);
    trace::flush(0);
    if (filelines(path).whole != 10) {
        return wl_notFlushed;
    }
    traceLines(5000); // which are too many to wait
    if (filelines(path).whole < 2000) {
        return wl_notBounded;
    }
    return trace::sync(generousWait) && filelines(path).whole == 5010 ? wl_fine : wl_notSynced;
}

/// Arguments: the trace file, and "later" for a process in which threads can be started later.
int traceWriterless(const std::vector<std::string>& arguments)
{
    const std::string path = arguments[0];
    trace::output(filetracestream(path.c_str())).setLevel(tl_info);
    static auto* const limit = new std::optional<threadlimit>(std::in_place);
    const writerless found = traceWithoutWriter(path);
    if (found != wl_fine || arguments[1] != "later") {
        traceLines(100);
        return found; // the end of the process writes the rest
    }
    limit->reset();
    const int before = childprocess::threadCount();
    traceLines(100);
    return childprocess::threadCount() == before + 1 ? wl_fine : wl_noWriterLater;
}

/// AddressSanitizer needs a thread for that.
const std::map<std::string, std::string> withoutLeakSearch = {{"ASAN_OPTIONS", "detect_leaks=0"}};

outcome noThreadForWriter(unsigned long long times)
{
    constexpr unsigned long long lines = 5110;
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
        const std::string path = folder.file("trace.log");
        const childresult result =
            runScenario("writerless", {path, run % 2 == 0 ? "never" : "later"}, withoutLeakSearch);
        const filelines file(path);
        found.made += lines;
        found.lost += lines - std::min(lines, file.whole);
        const std::string wrong = wrongEnd(result, wl_fine);
        found.add(wrong.empty() && file.whole != lines ? "lines are missing" : wrong);
    }
    return found;
}

} // namespace

group threadRows()
{
    return {"threads",
            {
                {"threads-come-and-go",
                 {1000, 10000, 300, 10000},
                 "a thread traces and ends, 20 at a time, while another one reads all stacks",
                 "Readers of stacks see what a thread's stack held at some moment; no thread that "
                 "traces or ends waits for them.",
                 threadsComeAndGo},
                {"small-stack",
                 {50, 1000, 20, 200},
                 "a thread with a stack of 64 KiB traces, registers, sets levels and writes to all "
                 "kinds of sinks",
                 "64 KiB are enough for all that a thread does with the library.",
                 smallStacks},
                {"no-thread-for-writer",
                 {4, 200, 2, 50},
                 "the system starts no thread: for good, or until 5010 lines were traced",
                 "Who flushes, waits, finds 2000 lines waiting or ends the process writes them "
                 "himself; a later line starts the writer as soon as that is possible.",
                 noThreadForWriter},
            },
            {{"writerless", traceWriterless}}};
}

} // namespace reliability
