// A traced application that the integration tests start: one scenario per run, named by the first
// argument. A second argument is the trace file's name.

#include <tolvane/tolvane.h>

#include "tests/helpers/childprocess.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

void say(const char* text)
{
    std::printf("%s\n", text);
    std::fflush(stdout);
}

/// Constructed before anything of the library is used, so it is destroyed after everything that is
/// made on first use is gone.
struct latetracer
{
    ~latetracer()
    {
        if (!active) {
            return;
        }
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_always) << "late line";
        log << L"late text" << std::endl;
        const bool known = earlier && earlier->name().compare("application::run") == 0;
        const hashedfunction& late = trace::registerfunction("void late::f()");
        trace::setLevel(tl_trace);
        trace::flush(0);
        trace::flush(1000); // nobody will come: it does not wait
        trace::__nullobject << L"nothing";
        const bool registered = late.name().compare("late::f") == 0;
        say(known && registered ? "late: fine" : "late: broken");
    }

    bool active = false;
    const hashedfunction* earlier = nullptr;
};

latetracer late;

/// Drops its lines, the first one only after a while or never.
class blockingsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        if (first.exchange(false)) {
            say("blocked");
            const bool forEver = !childprocess::threadsRunDuringExit();
            do { // the exit waits for less than that, and for the sink only while it can come back
                std::this_thread::sleep_for(std::chrono::milliseconds(1200));
            } while (forEver);
        }
    }

    unsigned long long id() const override { return 1; }
    blockingsink* clone() const override { return new blockingsink; }

    static inline std::atomic<bool> first{true};
};

class droppingsink : public tracestream
{
public:
    void log(const formattedline&) override {}
    unsigned long long id() const override { return 2; }
    droppingsink* clone() const override { return new droppingsink; }
};

int argumentCount = 0;
char** argumentTexts = nullptr;

void attachFile()
{
    trace::output(filetracestream(argumentTexts[2])).setLevel(tl_trace);
}

void traceLines(const char* prefix, int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << prefix << ' ' << line;
    }
}

/// Lines that are flushed, and lines that are still queued at the end.
void traceToTheEnd()
{
    attachFile();
    traceLines("flushed", 100);
    trace::sync(10000);
    traceLines("queued", 500);
    say("leaving");
}

int silent()
{
    const int before = childprocess::threadCount();
    trace::output(droppingsink()).setLevel(tl_debug);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_trace) << "not taken";
    trace::flush(0);
    const int silentAfter = childprocess::threadCount();
    say(silentAfter == before ? "no thread" : "a thread");
    say("leaving");
    return 0;
}

int firstLine()
{
    std::atomic<bool> done{false};
    std::thread other([&] { // a sanitizer starts a thread of its own together with the first one
        while (!done) {
            std::this_thread::yield();
        }
    });
    const int before = childprocess::threadCount();
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "first";
    const int traced = childprocess::threadCount();
    TOLVANE_LOG(log, tl_always) << "second";
    say(traced == before + 1 && childprocess::threadCount() == traced ? "one thread" : "wrong");
    done = true;
    other.join();
    return 0;
}

int returning()
{
    traceToTheEnd();
    return 0;
}

/// No flush but the guard's.
int guarded()
{
    const tolvane::FlushGuard guard;
    attachFile();
    std::thread([] { traceLines("others", 500); }).join();
    traceLines("queued", 500);
    return 0;
}

int exiting()
{
    traceToTheEnd();
    std::exit(7);
}

/// No destructors of static objects run: what was not flushed is lost, and nothing hangs.
int leavingQuickly()
{
    traceToTheEnd();
    std::_Exit(3);
}

int exitingFromThread()
{
    std::thread([] {
        traceToTheEnd();
        std::exit(5);
    }).join();
    return 0;
}

int tracingLate()
{
    late.active = true;
    late.earlier = &trace::registerfunction("int application::run()");
    attachFile();
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "in time";
    trace::sync(10000);
    return 0;
}

int blocked()
{
    trace::output(blockingsink()).setLevel(tl_info);
    attachFile();
    traceLines("first", 1);
    while (blockingsink::first) {
        std::this_thread::yield();
    }
    traceLines("queued", 100);
    return 0;
}

/// A thread that nobody stops traces while the process ends.
int detached()
{
    attachFile();
    trace::output(droppingsink()).setLevel(tl_trace);
    static std::atomic<int> rounds{0};
    for (int thread = 0; thread < 4; ++thread) {
        std::thread([] {
            for (;;) {
                traceLines("detached", 10);
                trace::level(std::string("detached"));
                ++rounds;
            }
        }).detach();
    }
    while (rounds < 20) {
        std::this_thread::yield();
    }
    return 0;
}

/// The first report of a process in which no sink takes errors.
int reportingSilently()
{
    const int before = childprocess::threadCount();
    stacktrace::FaultHandler("nobody listens");
    const bool reportsFromNowOn = trace::level(std::string("any")) == tl_error;
    say(childprocess::threadCount() == before && reportsFromNowOn ? "no thread" : "wrong");
    return 0;
}

void outer(void (*inner)())
{
    TOLVANE_SCOPE(log);
    inner();
}

void fail()
{
    TOLVANE_SCOPE(log);
    stacktrace::FaultHandler("50% wrong");
    say(stacktrace::getTrace().size() == 0 ? "stack empty" : "stack left");
}

/// Two reports, while another thread runs a function.
int reporting()
{
    trace::output(filetracestream(argumentTexts[2])).setLevel(tl_error);
    trace::output(ostreamtracestream<char>(std::cerr)).setLevel(tl_trace); // a report replaces it
    std::atomic<bool> running{false};
    std::atomic<bool> done{false};
    std::thread other([&] {
        TOLVANE_SCOPE(log);
        running = true;
        while (!done) {
            std::this_thread::yield();
        }
    });
    while (!running) {
        std::this_thread::yield();
    }
    outer(fail);
    outer(fail);
    done = true;
    other.join();
    trace::sync(10000);
    return 0;
}

int rotatingByAge()
{
    const unsigned long long manyKibibytes = 1000;
    trace::output(rotatingfilestracestream(argumentTexts[2], 3, manyKibibytes, 1))
        .setLevel(tl_info);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "first";
    trace::sync(10000);
    TOLVANE_LOG(log, tl_info) << "second";
    trace::sync(10000);
    return 0;
}

int hanging()
{
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

/// One line to standard output.
void traceToConsole()
{
    trace::output(consoletracestream(std::cout)).setLevel(tl_error);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_error) << "an error";
    trace::sync(10000);
}

int toConsole()
{
    traceToConsole();
    return 0;
}

int toFasterConsole()
{
    std::ios_base::sync_with_stdio(false);
    traceToConsole();
    return 0;
}

int toOtherBuffer()
{
    std::stringbuf collected;
    std::streambuf* const before = std::cout.rdbuf(&collected);
    traceToConsole();
    trace::remove(consoletracestream(std::cout));
    std::cout.rdbuf(before);
    std::cout << "collected: " << collected.str() << std::endl;
    return 0;
}

/// Shows what the process was given.
int echo()
{
    for (int index = 2; index < argumentCount; ++index) {
        std::printf("[%s]", argumentTexts[index]);
    }
    const char* const variable = std::getenv("TOLVANE_TEST");
    std::fprintf(stderr, "%s", variable ? variable : "");
    return 0;
}

const std::map<std::string, int (*)()> scenarios = {
    {"silent", silent},
    {"firstLine", firstLine},
    {"returning", returning},
    {"guarded", guarded},
    {"exiting", exiting},
    {"leavingQuickly", leavingQuickly},
    {"exitingFromThread", exitingFromThread},
    {"tracingLate", tracingLate},
    {"blocked", blocked},
    {"detached", detached},
    {"reportingSilently", reportingSilently},
    {"reporting", reporting},
    {"rotatingByAge", rotatingByAge},
    {"toConsole", toConsole},
    {"toFasterConsole", toFasterConsole},
    {"toOtherBuffer", toOtherBuffer},
    {"hanging", hanging},
    {"echo", echo},
};

} // namespace

int main(int count, char** arguments)
{
    constexpr int unknownScenario = 99;
    argumentCount = count;
    argumentTexts = arguments;
    const auto scenario = scenarios.find(count > 1 ? arguments[1] : "");
    return scenario == scenarios.end() ? unknownScenario : scenario->second();
}
