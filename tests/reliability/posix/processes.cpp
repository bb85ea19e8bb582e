#include "tests/reliability/processes.h"

#include "tests/reliability/lines.h"

#include "tests/helpers/attached.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <initializer_list>
#include <ostream>
#include <streambuf>

namespace reliability {

namespace {

constexpr unsigned long long lines = 20;

void traceLines()
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < lines; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

/// Whether the application's own writing meets the signals of writing as by default.
std::string wrongSignals()
{
    sigset_t pending;
    sigset_t blocked;
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_DFL || sigismember(&blocked, signal) ||
            sigismember(&pending, signal)) {
            return "the process's signals have changed";
        }
    }
    return "";
}

/// Writes to a pipe that nobody reads.
class closedpipe : public std::streambuf
{
public:
    closedpipe()
    {
        int ends[2] = {-1, -1};
        static_cast<void>(pipe(ends) + close(ends[0]));
        m_end = ends[1];
    }
    ~closedpipe() override { close(m_end); }

    closedpipe(const closedpipe&) = delete;
    closedpipe& operator=(const closedpipe&) = delete;

private:
    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        return write(m_end, text, static_cast<std::size_t>(count));
    }

    int m_end = -1;
};

outcome writeToClosedPipe(unsigned long long times)
{
    outcome found;
    closedpipe nobody;
    for (unsigned long long run = 0; run < times; ++run) {
        std::ostream stream(&nobody);
        const ostreamtracestream<char> sink(stream);
        trace::output(sink).setLevel(tl_info);
        traceLines();
        if (run % 2 == 0) {
            trace::flush(0);
        } else {
            trace::sync(generousWait);
        }
        trace::remove(sink);
        found.add(wrongSignals());
    }
    return found;
}

outcome writeToSizeLimit(unsigned long long times)
{
    constexpr rlim_t bytes = 500;
    const rlimit limit = {bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        const std::string path = folder.file("trace.log");
        const unsigned long long lostBefore = trace::lost(trace::destination);
        {
            const filetracestream sink(path.c_str());
            const attached all(sink, tl_info);
            traceLines();
            if (run % 2 == 0) {
                trace::flush(0);
            }
            trace::sync(generousWait);
        }
        const filelines file(path);
        const unsigned long long lost = trace::lost(trace::destination) - lostBefore;
        found.made += lines;
        found.lost += lines - file.whole;
        found.add(file.torn != 0               ? "a torn line"
                  : lost + file.whole != lines ? "lines were not counted"
                                               : wrongSignals());
    }
    return found;
}

} // namespace

std::vector<row> platformProcesses()
{
    return {{"closed-pipe",
             {200, 100000, 50, 10000},
             "nobody reads the pipe of a stream any more; the writer, flush and remove write to it",
             "No signal reaches the process, and its own handling of SIGPIPE stays as it was; a "
             "stream's lines count as written.",
             writeToClosedPipe},
            {"file-size-limit",
             {100, 10000, 20, 1000},
             "a file is at the size limit of its process (500 bytes)",
             "No signal reaches the process, and its own handling of SIGXFSZ stays as it was; what "
             "does not fit is lost and counted, in whole lines.",
             writeToSizeLimit}};
}

} // namespace reliability
