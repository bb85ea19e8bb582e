// A traced program in an environment that is hard on it: one scenario per run, named by the first
// argument. The second argument is the name of a trace file.

#include <tolvane/tolvane.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <map>
#include <string>
#include <thread>

namespace {

const char* fileName = "";

void say(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
}

void traceLines(int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

/// Standard output is a pipe that nobody reads.
void attachClosedPipe()
{
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
        std::_Exit(77);
    }
    close(ends[0]);
    close(ends[1]);
    trace::output(ostreamtracestream<char>(std::cout)).setLevel(tl_info);
}

void attachFullFile()
{
    constexpr rlim_t bytes = 100;
    const rlimit limit = {bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        std::_Exit(77);
    }
    trace::output(filetracestream(fileName)).setLevel(tl_info);
}

/// Whether the application's own writing still meets the signals as by default.
void tellSignals()
{
    bool asBefore = true;
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        struct sigaction action = {};
        sigset_t blocked;
        sigset_t pending;
        sigaction(signal, nullptr, &action);
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        sigpending(&pending);
        asBefore = asBefore && action.sa_handler == SIG_DFL && !sigismember(&blocked, signal) &&
                   !sigismember(&pending, signal);
    }
    say(asBefore ? "signals as before" : "signals changed");
}

void traceManyLines()
{
    traceLines(100000);
    tellSignals();
}

void flush()
{
    traceLines(100);
    trace::flush(0);
    tellSignals();
}

void remove()
{
    traceLines(100);
    trace::remove(filetracestream(fileName));
    trace::remove(ostreamtracestream<char>(std::cout));
    tellSignals();
}

/// The writer is not there to write them before.
void leave()
{
    tellSignals();
    traceLines(100);
}

/// Writes what it kept when it is destroyed.
class keepingsink : public tracestream
{
public:
    void log(const formattedline&) override {}
    unsigned long long id() const override { return 1; }
    keepingsink* clone() const override
    {
        auto* const cloned = new keepingsink;
        cloned->m_isAttached = true;
        return cloned;
    }
    ~keepingsink() override
    {
        if (m_isAttached && write(STDOUT_FILENO, "kept", 4) < 0) {
            say("refused");
        }
    }

private:
    bool m_isAttached = false;
};

void destroySink()
{
    trace::output(keepingsink());
    trace::remove(keepingsink());
    trace::output(keepingsink());
    tellSignals();
}

const std::map<std::string, void (*)()> endings = {
    {"producer", traceManyLines}, {"flush", flush}, {"remove", remove}, {"exit", leave},
    {"destruction", destroySink},
};

} // namespace

int main(int count, char** arguments)
{
    constexpr int unknownScenario = 99;
    const auto ending = endings.find(count > 3 ? arguments[2] : "");
    if (ending == endings.end()) {
        return unknownScenario;
    }
    fileName = arguments[3];
    std::string(arguments[1]) == "pipe" ? attachClosedPipe() : attachFullFile();
    ending->second();
    return 0;
}
