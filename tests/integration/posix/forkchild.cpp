// A traced application that forks: one scenario per run, named by the first argument. The second
// argument is the name of a trace file, the third a number.

#include "tests/helpers/allocations.h"

#include <tolvane/tolvane.h>

#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <locale>
#include <map>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

char** words = nullptr;

void say(const std::string& text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

int number()
{
    return std::atoi(words[3]);
}

void attachFile()
{
    trace::output(filetracestream(words[2])).setLevel(tl_info);
}

void traceLine(const std::string& text)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << text;
}

bool fileHas(const std::string& text)
{
    std::ifstream file(words[2]);
    const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return all.find(text) != std::string::npos;
}

/// A child that hangs is not waited for.
constexpr unsigned int longestLife = 30;

/// Forks a child that ends with what the function returns.
template <class child_t>
pid_t start(const child_t& child)
{
    const pid_t process = fork();
    if (process == 0) {
        alarm(longestLife);
        std::exit(child());
    }
    return process;
}

int waitFor(pid_t process)
{
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int once()
{
    attachFile();
    for (int line = 0; line < 100; ++line) {
        traceLine("parent " + std::to_string(line) + ".");
    }
    const int status = waitFor(start([] {
        traceLine("child is thread " + std::to_string(getpid()) + ".");
        return 3;
    }));
    traceLine("parent goes on.");
    return status;
}

/// Its lines come out while it lives.
int daemon()
{
    attachFile();
    traceLine("parent.");
    return waitFor(start([] {
        traceLine("daemon.");
        while (!fileHas("daemon.")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        _exit(4);
        return 0;
    }));
}

/// A recorder is attached before the fork.
int recording()
{
    trace::output(recordertracestream(10, filetracestream(words[2]))).setLevel(tl_info);
    traceLine("parent.");
    trace::sync(10000);
    return waitFor(start([] {
        traceLine("child.");
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_error) << "bad.";
        return trace::sync(10000) ? 0 : 1;
    }));
}

std::atomic<bool> isEnough{false};
std::atomic<int> traced{0};

/// Forks while threads trace; every other child starts a program.
int inBurst()
{
    attachFile();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; !isEnough; ++line) {
                traceLine("p" + std::to_string(thread) + '.' + std::to_string(line) + '.');
                ++traced;
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        });
    }
    int ended = 0;
    for (int child = 0; child < number(); ++child) {
        const int status = waitFor(start([child] {
            if (child % 2 != 0) {
                execl("/bin/true", "true", nullptr);
            }
            traceLine("c" + std::to_string(child) + ".0.");
            traceLine("c" + std::to_string(child) + ".1.");
            return trace::sync(10000) ? 0 : 1;
        }));
        ended += status == 0 ? 1 : 0;
    }
    isEnough = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    const bool isWritten = trace::sync(10000);
    say(std::to_string(ended) + " ended, " + std::to_string(traced) + " traced, " +
        std::to_string(trace::lost()) + " lost");
    return isWritten ? 0 : 1;
}

/// Asking for such a global locale takes a lock of the C++ library's.
int inBurstElsewhere()
{
    std::locale::global(std::locale(std::locale::classic(), new std::numpunct<wchar_t>));
    return inBurst();
}

std::atomic<bool> isStuck{false};

class stucksink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        isStuck = true;
        for (;;) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    }
    unsigned long long id() const override { return 1; }
    stucksink* clone() const override { return new stucksink; }
};

/// The child goes on without the sink that another thread is inside of.
int besideStuckSink()
{
    trace::output(stucksink()).setLevel(tl_info);
    attachFile();
    traceLine("stuck.");
    while (!isStuck) {
        std::this_thread::yield();
    }
    const auto began = std::chrono::steady_clock::now();
    const int status = waitFor(start([] {
        traceLine("child.");
        return trace::sync(10000) ? 5 : 6;
    }));
    const bool isQuick = std::chrono::steady_clock::now() - began < std::chrono::seconds(10);
    say(isQuick ? "quick" : "slow");
    std::fflush(stdout);
    std::_Exit(status);
}

std::atomic<int> living{0};

/// Under the id of another one.
class replacingsink : public tracestream
{
public:
    void log(const formattedline&) override { ++lines; }
    unsigned long long id() const override { return 1; }
    replacingsink* clone() const override { return new replacingsink; }

    static inline std::atomic<int> lines{0};
};

/// Removes or replaces itself, and stays in the call.
class leavingsink : public tracestream
{
public:
    explicit leavingsink(bool isReplaced) : m_isReplaced(isReplaced) { ++living; }
    ~leavingsink() override { --living; }

    leavingsink(const leavingsink&) = delete;
    leavingsink& operator=(const leavingsink&) = delete;

    void log(const formattedline&) override
    {
        if (m_isReplaced) {
            trace::output(replacingsink()).setLevel(tl_info);
        } else {
            trace::remove(*this);
        }
        isStuck = true;
        for (;;) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    }

    unsigned long long id() const override { return 1; }
    leavingsink* clone() const override { return new leavingsink(m_isReplaced); }

private:
    const bool m_isReplaced;
};

/// \return 10 for each sink that lives in the child, and the lines of the one that came instead.
int besideLeavingSink(bool isReplaced)
{
    trace::output(leavingsink(isReplaced)).setLevel(tl_info);
    attachFile();
    traceLine("stuck.");
    while (!isStuck) {
        std::this_thread::yield();
    }
    std::_Exit(waitFor(start([] {
        traceLine("child.");
        trace::sync(10000);
        trace::flush(0);
        return living * 10 + replacingsink::lines;
    })));
}

int besideRemovedSink()
{
    return besideLeavingSink(false);
}

int besideReplacedSink()
{
    return besideLeavingSink(true);
}

/// A sink that starts programs.
class forkingsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        const pid_t process = fork();
        if (process == 0) {
            execl("/bin/true", "true", nullptr);
        }
        isStuck = waitFor(process) == 0;
    }
    unsigned long long id() const override { return 1; }
    forkingsink* clone() const override { return new forkingsink; }
};

int inSink()
{
    trace::output(forkingsink()).setLevel(tl_info);
    traceLine("forks.");
    const bool isWritten = trace::sync(10000);
    return isWritten && isStuck ? 0 : 1;
}

/// What other ways to start a program do.
int spawning()
{
    attachFile();
    traceLine("before.");
    char name[] = "true";
    char* const arguments[] = {name, nullptr};
    int failures = 0;
    for (int round = 0; round < number(); ++round) {
        pid_t process = 0;
        failures += posix_spawn(&process, "/bin/true", nullptr, nullptr, arguments, environ) != 0 ||
                    waitFor(process) != 0;
        process = vfork();
        if (process == 0) {
            execl("/bin/true", "true", nullptr);
            _exit(1);
        }
        failures += waitFor(process) != 0;
        failures += std::system("true") != 0;
        traceLine("between.");
    }
    return failures;
}

/// The report of a child names no function of the parent's other threads.
int reporting()
{
    attachFile();
    std::atomic<bool> isRunning{false};
    std::thread([&isRunning] {
        TOLVANE_SCOPE(log);
        isRunning = true;
        std::this_thread::sleep_for(std::chrono::hours(1));
    }).detach();
    while (!isRunning) {
        std::this_thread::yield();
    }
    TOLVANE_SCOPE(log);
    const int status = waitFor(start([] {
        const std::size_t threads = stacktrace::getTraces().size();
        stacktrace::FaultHandler("child");
        return static_cast<int>(threads);
    }));
    std::_Exit(status);
}

/// Children of children, each with lines of its own.
int deeper(int depth)
{
    traceLine("depth " + std::to_string(depth) + '.');
    return depth == 5 ? 5 : waitFor(start([depth] { return deeper(depth + 1); }));
}

int generations()
{
    attachFile();
    return deeper(0);
}

std::atomic<pid_t> forkedBySink{-1};

thread_local bool isMain = false;

/// Forks on the first line that the main thread writes, and lets the child go on.
class dividingsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        if (forkedBySink == -1 && isMain) {
            forkedBySink = 0;
            const pid_t process = fork();
            if (process == 0) {
                alarm(longestLife);
            }
            forkedBySink = process;
        }
    }

    unsigned long long id() const override { return 1; }
    dividingsink* clone() const override { return new dividingsink; }
};

/// The child comes out of the sink's call, and out of the flush, and traces.
int goingOn()
{
    attachFile();
    trace::output(dividingsink()).setLevel(tl_info);
    isMain = true;
    for (int line = 0; forkedBySink == -1; ++line) { // the writer may take them
        traceLine("before " + std::to_string(line) + ".");
        traceLine("behind " + std::to_string(line) + ".");
        trace::flush(0);
    }
    trace::remove(dividingsink());
    if (forkedBySink != 0) {
        return waitFor(forkedBySink);
    }
    traceLine("child.");
    trace::sync(10000);
    std::_Exit(fileHas("child.") ? 0 : 1);
}

/// Forks on the first line that it gets; the child comes out of the call.
class reportdividingsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        if (forkedBySink == -1) {
            forkedBySink = 0; // as the child finds it
            forkedBySink = fork();
        }
    }

    unsigned long long id() const override { return 1; }
    reportdividingsink* clone() const override { return new reportdividingsink; }
};

/// The thread that writes the report is the child's only one.
int dividedReport()
{
    attachFile();
    trace::output(reportdividingsink()).setLevel(tl_error);
    stacktrace::FaultHandler("divided");
    trace::remove(reportdividingsink());
    const int status = waitFor(forkedBySink);
    trace::sync(10000);
    return status;
}

/// Beyond what a stack has room for at first.
void traceDeeply(int depth)
{
    TOLVANE_SCOPE(log);
    if (depth != 0) {
        traceDeeply(depth - 1);
    } else {
        TOLVANE_LOG(log, tl_info) << "deep, and longer than what the line itself has room for.";
    }
}

unsigned long long released()
{
    return allocations::count() - allocations::alive();
}

/// An allocator of the application's may have a lock that another thread holds. The child frees
/// nothing before its first line.
int freeingNothing()
{
    attachFile();
    std::atomic<int> waiting{0};
    std::atomic<bool> mayEnd{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            traceDeeply(1000);
            ++waiting;
            while (!mayEnd) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    while (waiting != 4) {
        std::this_thread::yield();
    }
    for (int line = 0; line < 100; ++line) {
        traceLine("parent.");
    }
    trace::sync(0); // takes them out of the stages
    traceLine("parent.");
    const unsigned long long before = released();
    const pid_t process = fork();
    if (process == 0) {
        const bool isAnyFreed = released() != before;
        alarm(longestLife);
        traceLine("child.");
        const bool isWritten = trace::sync(10000);
        _exit(isAnyFreed ? 7 : isWritten ? 0 : 8);
    }
    const int status = waitFor(process);
    mayEnd = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return status;
}

std::atomic<bool> isForking{false};

/// The very first line is in one of its allocations when another thread forks.
int duringFirstLine()
{
    pthread_atfork([] { isForking = true; }, nullptr, nullptr); // called before the library's
    std::atomic<bool> isFar{false};
    std::thread first([&isFar] {
        const std::function<void()> wait = [&isFar] {
            isFar = true;
            while (!isForking) {
                std::this_thread::yield();
            }
            // a fork that does not wait comes meanwhile
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        };
        {
            const allocations::interruption waiting(static_cast<unsigned long long>(number()),
                                                    wait);
            traceLine("first.");
        }
        isFar = true; // there are not so many
    });
    while (!isFar) {
        std::this_thread::yield();
    }
    const int status = waitFor(start([] {
        attachFile();
        traceLine("child.");
        return trace::sync(10000) ? 0 : 1;
    }));
    first.join();
    return status;
}

/// The file says later that the child is to trace in detail.
int followingSettings()
{
    const std::string path = std::string(words[2]) + ".settings";
    const auto write = [&path](const std::string& level) {
        std::ofstream(path) << "*=" << level << " > file:" << words[2];
    };
    write("info");
    trace::followSettings(path);
    traceLine("parent.");
    trace::sync(10000);
    return waitFor(start([&write] {
        traceLine("child.");
        write("debug");
        for (int tries = 0; tries < 1000 && trace::level("traceLine") != tl_debug; ++tries) {
            trace::flush(100); // the writer passes
        }
        return trace::level("traceLine") == tl_debug ? 0 : 1;
    }));
}

const std::map<std::string, int (*)()> scenarios = {
    {"inBurstElsewhere", inBurstElsewhere},
    {"freeingNothing", freeingNothing},
    {"duringFirstLine", duringFirstLine},
    {"followingSettings", followingSettings},
    {"once", once},
    {"daemon", daemon},
    {"recording", recording},
    {"inBurst", inBurst},
    {"goingOn", goingOn},
    {"dividedReport", dividedReport},
    {"inSink", inSink},
    {"spawning", spawning},
    {"besideStuckSink", besideStuckSink},
    {"besideRemovedSink", besideRemovedSink},
    {"besideReplacedSink", besideReplacedSink},
    {"reporting", reporting},
    {"generations", generations},
};

} // namespace

int main(int, char** arguments)
{
    words = arguments;
    return scenarios.at(arguments[1])();
}
