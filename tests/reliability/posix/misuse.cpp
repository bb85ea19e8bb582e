#include "tests/reliability/misuse.h"

#include "tests/reliability/lines.h"

#include "tests/helpers/attached.h"

#include <tolvane/tolvane.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <thread>

namespace reliability {

namespace {

std::atomic<unsigned long long> handled{0};
const hashedfunction* ofHandler = nullptr;

void traceInHandler(int)
{
    tolvane::scope log(ofHandler, "void handler()");
    TOLVANE_LOG(log, tl_info) << "handled " << 1;
    ++handled;
}

/// No memory is asked for but by the library.
void callEverything()
{
    static const tolvane::string name(L"reliability::misuse");
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "interrupted " << 1;
    trace::level(name);
    trace::setLevel(tl_info, name);
    trace::registerfunction("void registered::now()");
    trace::flush(0);
}

/// Sends a thread signals, one as soon as the one before is handled.
class signalstorm
{
public:
    signalstorm()
    {
        struct sigaction action = {};
        action.sa_handler = traceInHandler;
        sigaction(SIGUSR1, &action, nullptr);
        handled = 0;
        m_sender = std::thread([this, thread = pthread_self()] {
            for (unsigned long long sent = 0; !m_isOver; ++sent) {
                pthread_kill(thread, SIGUSR1);
                while (handled == sent && !m_isOver) {
                    std::this_thread::yield();
                }
            }
        });
    }

    ~signalstorm()
    {
        m_isOver = true;
        m_sender.join();
        signal(SIGUSR1, SIG_IGN);
    }

    signalstorm(const signalstorm&) = delete;
    signalstorm& operator=(const signalstorm&) = delete;

private:
    std::atomic<bool> m_isOver{false};
    std::thread m_sender;
};

outcome traceInHandlers(unsigned long long times)
{
    outcome found;
    const actingsink sink(1);
    const attached all(sink, tl_info);
    traceInHandler(0); // its function, and the thread, are known from then on
    const unsigned long long lostBefore = trace::lost();
    const unsigned long long calledBefore = [&] {
        trace::sync(generousWait);
        return sink.called();
    }();
    unsigned long long own = 0;
    {
        const signalstorm storm;
        for (; handled < times; ++own) {
            callEverything();
        }
    }
    trace::sync(generousWait);
    found.made = own + handled;
    found.lost = trace::lost() - lostBefore;
    found.runs = handled;
    if (found.made != found.lost + sink.called() - calledBefore) {
        found.broken = 1;
        found.remark = "of " + std::to_string(found.made) + " lines " +
                       std::to_string(sink.called() - calledBefore) + " were written and " +
                       std::to_string(found.lost) + " counted as lost";
    }
    return found;
}

} // namespace

std::vector<row> platformMisuse()
{
    return {{"signal-handler-traces",
             {2000, 1000000, 500, 100000},
             "a signal arrives amid tracing, flushing, registering, setting levels, and its "
             "handler traces",
             "A line that interrupts the library is lost and counted; others are written; nothing "
             "hangs.",
             traceInHandlers}};
}

} // namespace reliability
