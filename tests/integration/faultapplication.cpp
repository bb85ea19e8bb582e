// A traced application in its worst hour: one scenario per run, named by the first argument. The
// second argument is the name of a trace file, the third what else the scenario needs.

#include <tolvane/tolvane.h>

#include "tests/helpers/hardfault.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

/// Not in an unnamed namespace, where the compiler would see that pure() has one implementation
/// only and call that.
struct abstractbase
{
    abstractbase() { callPure(); }
    abstractbase(const abstractbase&) = delete;
    abstractbase& operator=(const abstractbase&) = delete;
    virtual ~abstractbase() = default;
    void callPure();
    virtual void pure() = 0;
};

static void (abstractbase::*volatile pureFunction)() = &abstractbase::pure;

void abstractbase::callPure()
{
    (this->*pureFunction)();
}

namespace {

struct concreteclass : abstractbase
{
    void pure() override {}
};

std::vector<std::string> words;

void say(const std::string& text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

void attachFile()
{
    trace::output(filetracestream(words[2].c_str())).setLevel(tl_error);
}

[[noreturn]] void throwError()
{
    throw std::runtime_error("nobody catches this");
}

[[noreturn]] void throwNumber()
{
    throw 42;
}

[[noreturn]] void callTerminate()
{
    std::terminate();
}

const std::map<std::string, void (*)()> ends = {
    {"error", throwError},
    {"number", throwNumber},
    {"terminate", callTerminate},
    {"fault", [] { hardfault::raise(); }},
};

/// On a thread of its own, which ends thereby.
void endThread()
{
    std::thread([] {
        const auto end = ends.at(words[3]);
        [end]() noexcept { end(); }();
    }).join();
    say("joined");
}

int unheard()
{
    endThread();
    return 0;
}

int heard()
{
    attachFile();
    endThread();
    return 0;
}

/// The program's own terminate handler gets the exception.
int ownTerminate()
{
    std::set_terminate([] {
        try {
            throw;
        } catch (const std::exception& exception) {
            say(std::string("own handler: ") + exception.what());
        } catch (...) {
            say("own handler");
        }
        std::_Exit(7);
    });
    std::thread(ends.at(words[3])).join();
    return 0;
}

int reportingAndEnding()
{
    attachFile();
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_error) << "before";
    stacktrace::reportAndEnd("all is lost", 42);
}

/// Nobody knows the fault any more.
int uninstalled()
{
    stacktrace::uninstallHandlers();
    say("uninstalled");
    hardfault::raise();
    say("went on");
    return 0;
}

int uninstalledPureCall()
{
    stacktrace::uninstallHandlers();
    say("uninstalled");
    const concreteclass object;
    say("went on");
    return 0;
}

int installedAgain()
{
    stacktrace::uninstallHandlers();
    stacktrace::installHandlers();
    try {
        hardfault::raise();
    } catch (const std::exception&) {
        say("caught");
    }
    return 0;
}

void ownSignalHandler(int)
{
    say("own signal handler");
    std::_Exit(8);
}

/// A handler that was installed after the library's stays.
int ownHandlerStays()
{
    std::signal(SIGSEGV, ownSignalHandler);
    std::set_terminate([] { std::_Exit(9); });
    stacktrace::uninstallHandlers();
    if (words[3] == "terminate") {
        std::terminate();
    }
    static_cast<void>(std::raise(SIGSEGV));
    return 0;
}

std::atomic<bool> isStuck{false};

[[noreturn]] void waitForEver()
{
    isStuck = true;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

class stucksink : public tracestream
{
public:
    void log(const formattedline&) override { waitForEver(); }
    unsigned long long id() const override { return 1; }
    stucksink* clone() const override { return new stucksink; }
};

class stuckbuffer : public std::streambuf
{
    int_type overflow(int_type) override { waitForEver(); }
};

void traceLine(const char* text)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_error) << text;
}

/// A report takes a second at most, and what a busy machine adds.
void reportInTime()
{
    const auto start = std::chrono::steady_clock::now();
    stacktrace::FaultHandler("stuck");
    const auto took = std::chrono::steady_clock::now() - start;
    say(took < std::chrono::seconds(5) ? "reported" : "reported late");
}

/// A report while a sink does not come back.
[[noreturn]] void reportBeside()
{
    traceLine("never written");
    while (!isStuck) {
        std::this_thread::yield();
    }
    reportInTime();
    std::_Exit(0); // the sink would hold up the exit, too
}

int besideStuckSink()
{
    trace::output(stucksink()).setLevel(tl_error);
    attachFile();
    reportBeside();
}

/// It cannot be written to: what it does not get, nobody gets.
int besideStuckStandardError()
{
    static stuckbuffer buffer;
    std::cerr.rdbuf(&buffer);
    attachFile();
    trace::output(ostreamtracestream<char>(std::cerr)).setLevel(tl_error);
    reportBeside();
}

/// It does not come back from the report's first line.
int stuckByReport()
{
    trace::output(stucksink()).setLevel(tl_error);
    reportInTime();
    std::_Exit(0);
}

int endBesideStuck()
{
    trace::output(stucksink()).setLevel(tl_error);
    stacktrace::reportAndEnd("stuck", 42);
}

int standardErrorStuckByReport()
{
    static stuckbuffer buffer;
    std::cerr.rdbuf(&buffer);
    attachFile();
    reportInTime();
    std::_Exit(0);
}

/// Is attached for ever, under the dispatcher's lock.
class endlesssink : public tracestream
{
public:
    void log(const formattedline&) override {}
    unsigned long long id() const override { return 2; }
    endlesssink* clone() const override { waitForEver(); }
};

int besideStuckClone()
{
    attachFile();
    std::thread([] { trace::output(endlesssink()); }).detach();
    while (!isStuck) {
        std::this_thread::yield();
    }
    reportInTime();
    std::_Exit(0);
}

/// Comes back long after the report.
class latesink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        while (!isLate) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    unsigned long long id() const override { return 1; }
    latesink* clone() const override { return new latesink; }

    static std::atomic<bool> isLate;
};

std::atomic<bool> latesink::isLate{false};

int lateSink()
{
    trace::output(latesink()).setLevel(tl_error);
    attachFile();
    reportInTime();
    latesink::isLate = true;
    say(trace::sync(10000) ? "written" : "not written");
    return 0;
}

/// Has a report written.
class reportingsink : public tracestream
{
public:
    void log(const formattedline&) override { stacktrace::FaultHandler("within"); }
    unsigned long long id() const override { return 1; }
    reportingsink* clone() const override { return new reportingsink; }
};

int withinSink()
{
    trace::output(reportingsink()).setLevel(tl_error);
    attachFile();
    traceLine("seen by both");
    trace::sync(10000); // the exit does not wait for the writer everywhere
    return 0;
}

/// Promises not to throw, and does.
class liarsink : public tracestream
{
public:
    void log(const formattedline&) override { lie(); }
    unsigned long long id() const override { return 1; }
    liarsink* clone() const override { return new liarsink; }

private:
    static void lie() noexcept { throwError(); }
};

/// The thread that writes is ended within a sink, first the writer and then one that flushes.
int endInSink()
{
    attachFile();
    for (int round = 0; round < 2; ++round) {
        const auto lostBefore = trace::lost(trace::destination);
        trace::output(liarsink()).setLevel(tl_error);
        std::thread([round] {
            traceLine("ends a thread");
            if (round == 1) {
                trace::flush(0);
            }
        }).join();
        while (trace::lost(trace::destination) == lostBefore) {
            traceLine("meanwhile");
            trace::sync(100);
        }
    }
    traceLine("afterwards");
    say(trace::sync(10000) ? "written" : "not written");
    return 0;
}

class deepsink : public tracestream
{
public:
    void log(const formattedline&) override { static_cast<void>(hardfault::goDeeper(0)); }
    unsigned long long id() const override { return 1; }
    deepsink* clone() const override { return new deepsink; }
};

int overflowInSink()
{
    trace::output(deepsink()).setLevel(tl_error);
    attachFile();
    traceLine("first");
    while (trace::lost(trace::destination) == 0) {
        std::this_thread::yield();
    }
    traceLine("second");
    say(trace::sync(10000) ? "written" : "not written");
    return 0;
}

std::atomic<bool> isEnough{false};
std::atomic<int> running{0};

void traceWithoutPause()
{
    TOLVANE_SCOPE(log);
    ++running;
    while (!isEnough) {
        TOLVANE_LOG(log, tl_error) << "a line of many";
    }
}

/// Counts the lines of reports that it gets.
class reportcounter : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        if (std::strstr(text.narrow(), "stacktrace::FaultHandler : ")) {
            ++lines;
        }
    }
    unsigned long long id() const override { return 1; }
    reportcounter* clone() const override { return new reportcounter; }

    static std::atomic<int> lines;
};

std::atomic<int> reportcounter::lines{0};

/// Reports while many threads trace at full speed: all lines of all of them are to arrive.
int flooded()
{
    const int threadCount = std::stoi(words[3]);
    const int reports = 5;
    trace::output(reportcounter()).setLevel(tl_error);
    std::cerr.setstate(std::ios::failbit);
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
        threads.emplace_back(traceWithoutPause);
    }
    while (running != threadCount) {
        std::this_thread::yield();
    }
    for (int report = 0; report < reports; ++report) {
        stacktrace::FaultHandler("flooded");
    }
    const int lines = reportcounter::lines;
    isEnough = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    // the message; a thread's function and an empty line each; the handler and an empty line
    const int expected = reports * (1 + 2 * threadCount + 2);
    say(lines == expected ? "complete" : std::to_string(lines) + " of " + std::to_string(expected));
    return 0;
}

const std::map<std::string, int (*)()> scenarios = {
    {"unheard", unheard},
    {"heard", heard},
    {"ownTerminate", ownTerminate},
    {"reportingAndEnding", reportingAndEnding},
    {"uninstalled", uninstalled},
    {"uninstalledPureCall", uninstalledPureCall},
    {"installedAgain", installedAgain},
    {"ownHandlerStays", ownHandlerStays},
    {"besideStuckSink", besideStuckSink},
    {"besideStuckStandardError", besideStuckStandardError},
    {"withinSink", withinSink},
    {"stuckByReport", stuckByReport},
    {"endBesideStuck", endBesideStuck},
    {"standardErrorStuckByReport", standardErrorStuckByReport},
    {"besideStuckClone", besideStuckClone},
    {"lateSink", lateSink},
    {"endInSink", endInSink},
    {"overflowInSink", overflowInSink},
    {"flooded", flooded},
};

} // namespace

int main(int count, char** arguments)
{
    constexpr int unknownScenario = 99;
    words.assign(arguments, arguments + count);
    words.resize(4);
    const auto scenario = scenarios.find(words[1]);
    return scenario == scenarios.end() ? unknownScenario : scenario->second();
}
