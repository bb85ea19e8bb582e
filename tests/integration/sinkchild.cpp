// A traced application with a sink in which a hardware fault happens: one scenario per run, named
// by the first argument. The second argument is the name of a trace file that stays healthy.

#include <tolvane/tolvane.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <thread>

namespace {

void say(const std::string& text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

std::atomic<int> logged{0};
std::atomic<bool> isDestroyed{false};

void writeNowhere()
{
    *static_cast<volatile int*>(nullptr) = 1;
}

/// Behind a pointer, since compilers expect no exception from a plain instruction.
void (*volatile const fault)() = writeNowhere;

/// Faults on its second line.
class faultingsink : public tracestream
{
public:
    faultingsink() = default;

    ~faultingsink() override
    {
        if (m_isClone) {
            isDestroyed = true;
        }
    }

    faultingsink(const faultingsink&) = delete;
    faultingsink& operator=(const faultingsink&) = delete;

    void log(const formattedline&) override
    {
        if (++logged == 2) {
            fault();
        }
    }

    unsigned long long id() const override { return 1; }

    faultingsink* clone() const override
    {
        auto* const cloned = new faultingsink;
        cloned->m_isClone = true;
        return cloned;
    }

private:
    bool m_isClone = false;
};

char** argumentTexts = nullptr;

void attachSinks()
{
    trace::output(faultingsink()).setLevel(tl_info);
    trace::output(filetracestream(argumentTexts[2])).setLevel(tl_info);
}

void traceLines(const char* prefix, int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << prefix << ' ' << line;
    }
}

void tell()
{
    say("logged " + std::to_string(logged));
    say("lost for the sink " + std::to_string(trace::lost(trace::destination)));
    trace::remove(faultingsink());
    say(isDestroyed ? "destroyed" : "not destroyed");
    trace::remove(filetracestream(argumentTexts[2]));
    std::fflush(stdout);
    std::_Exit(0); // the exit is not what is asked about
}

/// The writer runs into the fault. A new one writes what comes later.
void inWriter()
{
    attachSinks();
    traceLines("first", 5);
    while (trace::lost(trace::destination) < 4 || !trace::sync(100)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // of the ended writer's passes
    traceLines("second", 5);
    say(trace::sync(10000) ? "written by a new writer" : "nobody writes");
    tell();
}

/// The thread that flushes runs into it, and can catch it.
void inFlush()
{
    attachSinks();
    { // the writer is not to be quicker
        TOLVANE_SCOPE(log);
    }
    for (bool caught = false; !caught;) {
        try {
            traceLines("first", 1);
            trace::flush(0);
        } catch (const std::exception& exception) {
            say(std::string("caught: ") + exception.what());
            caught = true;
        }
        if (logged >= 2 && !caught) {
            say("the writer was quicker");
            std::_Exit(77);
        }
    }
    traceLines("second", 5);
    trace::sync(10000);
    tell();
}

/// A thread that finds too many lines writes them, and runs into it: it is reported and ended.
void inProducer()
{
    attachSinks();
    std::thread([] {
        traceLines("many", 100000);
        say("went on");
    }).join();
    say("joined");
    traceLines("second", 5);
    say(trace::sync(10000) ? "all is written" : "nobody writes");
    tell();
}

std::atomic<int> living{0};
std::atomic<int> gotOn{0};

/// The first of its id lets its thread end within its first line.
class leavingsink : public tracestream
{
public:
    explicit leavingsink(void (*leave)(const leavingsink&)) : m_leave(leave) { ++living; }
    ~leavingsink() override { --living; }

    leavingsink(const leavingsink&) = delete;
    leavingsink& operator=(const leavingsink&) = delete;

    void log(const formattedline&) override
    {
        if (!m_leave) {
            ++gotOn;
            return;
        }
        m_leave(*this);
        std::terminate();
    }

    unsigned long long id() const override { return 1; }
    leavingsink* clone() const override { return new leavingsink(m_leave); }

private:
    void (*const m_leave)(const leavingsink&);
};

void leave(void (*leave)(const leavingsink&))
{
    trace::output(filetracestream(argumentTexts[2])).setLevel(tl_info);
    trace::output(leavingsink(leave)).setLevel(tl_info);
    std::thread([] {
        traceLines("first", 1);
        trace::flush(0);
        while (!trace::sync(100)) { // the writer was quicker
        }
    }).join();
    traceLines("second", 5);
    trace::sync(10000);
    trace::flush(0);
    say(std::to_string(living) + " live, " + std::to_string(gotOn) + " lines");
    std::fflush(stdout);
    std::_Exit(0);
}

void removedAndEnded()
{
    leave([](const leavingsink& self) { trace::remove(self); });
}

void replacedAndEnded()
{
    leave([](const leavingsink&) { trace::output(leavingsink(nullptr)).setLevel(tl_info); });
}

const std::map<std::string, void (*)()> scenarios = {
    {"removedAndEnded", removedAndEnded},
    {"replacedAndEnded", replacedAndEnded},
    {"inWriter", inWriter},
    {"inFlush", inFlush},
    {"inProducer", inProducer},
};

} // namespace

int main(int count, char** arguments)
{
    constexpr int unknownScenario = 99;
    argumentTexts = arguments;
    const auto scenario = scenarios.find(count > 1 ? arguments[1] : "");
    if (scenario == scenarios.end()) {
        return unknownScenario;
    }
    scenario->second();
    return 0;
}
