#include <tolvane/scope.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include "tests/helpers/attached.h"

#include <catch2/catch.hpp>

#include <pthread.h>
#include <signal.h>
#include <ucontext.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

// A signal comes behind each single instruction of what the library does, and its handler traces.

namespace {

constexpr long long trapFlag = 0x100;

/// Steps through what its thread does, by the processor's own means.
class singlesteps
{
public:
    explicit singlesteps(const std::function<void()>& whenStepped)
    {
        s_thread = pthread_self();
        s_count = 0;
        s_isOver = false;
        s_whenStepped = &whenStepped;
        struct sigaction action = {};
        action.sa_sigaction = step;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGTRAP, &action, &m_before);
    }

    ~singlesteps() { sigaction(SIGTRAP, &m_before, nullptr); }

    singlesteps(const singlesteps&) = delete;
    singlesteps& operator=(const singlesteps&) = delete;

    template <class action_t>
    void through(const action_t& action)
    {
        asm volatile("subq $128, %%rsp\n" // what a function may keep there without saying so
                     "pushfq\n"
                     "orq $0x100, (%%rsp)\n"
                     "popfq\n"
                     "addq $128, %%rsp" ::
                         : "memory", "cc");
        action();
        s_isOver = true;
    }

    static unsigned long long count() { return s_count; }

private:
    static void step(int, siginfo_t*, void* context)
    {
        auto& flags = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL];
        if (s_isOver || !pthread_equal(s_thread, pthread_self())) {
            flags &= ~trapFlag;
            return;
        }
        ++s_count;
        (*s_whenStepped)();
    }

    static inline pthread_t s_thread;
    static inline volatile unsigned long long s_count;
    static inline volatile bool s_isOver;
    static inline const std::function<void()>* s_whenStepped;

    struct sigaction m_before = {};
};

/// Counts its lines, and asks for no memory while it is stepped through.
class countingsink final : public tracestream
{
public:
    void log(const formattedline&) override { ++lines; }
    unsigned long long id() const override { return 1; }
    countingsink* clone() const override { return new countingsink; }

    static void* operator new(std::size_t size)
    {
        static std::max_align_t memory[100]; // for one, and one that replaces it
        static std::atomic<unsigned int> used{0};
        constexpr std::size_t half = sizeof memory / 2;
        REQUIRE(size <= half);
        return reinterpret_cast<char*>(memory) + (used++ % 2) * half;
    }
    static void operator delete(void*) {}

    static inline std::atomic<unsigned long long> lines{0};
};

const hashedfunction* ofHandler = nullptr;
const hashedfunction* ofThread = nullptr;
unsigned long long linesOfThread = 0;
unsigned long long linesOfHandler = 0;

void traceInHandler()
{
    ++linesOfHandler;
    tolvane::scope log(ofHandler, "void handler()");
    TOLVANE_LOG(log, tl_info) << "handled " << linesOfHandler;
}

void traceOnThread()
{
    ++linesOfThread;
    tolvane::scope log(ofThread, "void thread()");
    TOLVANE_LOG(log, tl_info) << "line " << 1 << ' ' << 1.5;
}

/// Both functions, and the thread, are known from then on.
void beKnown()
{
    traceOnThread();
    traceInHandler();
}

/// Steps through an action on a thread of its own, while the handler traces.
/// \param lines  gets how many lines reached the sink or count as lost.
void step(unsigned long long& lines, void (*prepare)(), const std::function<void()>& action,
          const std::function<void()>& handler)
{
    const countingsink sink;
    const attached all(sink, tl_info);
    countingsink::lines = 0;
    linesOfThread = 0;
    linesOfHandler = 0;
    const unsigned long long lostBefore = trace::lost();
    unsigned long long depth = 0;
    std::thread([&] {
        prepare();
        singlesteps steps(handler);
        steps.through(action);
        depth = stacktrace::getTrace().size();
    }).join();
    trace::sync(10000);

    CHECK(linesOfHandler > 0);
    CHECK(depth == 0);
    lines = countingsink::lines + trace::lost() - lostBefore;
}

/// Each of its lines reaches the sink or counts as lost.
void stepThrough(void (*prepare)(), const std::function<void()>& action,
                 const std::function<void()>& handler = traceInHandler)
{
    unsigned long long lines = 0;
    step(lines, prepare, action, handler);
    CHECK(lines == linesOfThread + linesOfHandler);
}

} // namespace

TEST_CASE("a line of a signal handler is written or lost, wherever it interrupts another line",
          "[trace][singlestep]")
{
    stepThrough(beKnown, traceOnThread);
    stepThrough(beKnown, [] {
        for (int line = 0; line < 20; ++line) {
            traceOnThread();
        }
    });
}

TEST_CASE("a signal handler may trace while its thread registers a function", "[trace][singlestep]")
{
    stepThrough(beKnown, [] {
        const hashedfunction* function = nullptr;
        tolvane::scope log(function, "int registered::now(const char*)");
        ++linesOfThread;
        TOLVANE_LOG(log, tl_info) << "registered";
    });
}

TEST_CASE("a signal handler whose function is not known loses its lines within the library alone",
          "[trace][singlestep]")
{
    stepThrough(beKnown, traceOnThread, [] {
        ++linesOfHandler;
        const hashedfunction* function = nullptr;
        tolvane::scope log(function, "void handler::ofItsOwn()");
        TOLVANE_LOG(log, tl_info) << "handled";
    });
}

TEST_CASE("a thread's stack is right behind a signal handler that came while it grew",
          "[trace][singlestep]")
{
    constexpr int deep = 30;
    static bool isRight = true;
    stepThrough(beKnown, [] {
        for (int depth = 0; depth < deep; ++depth) {
            stacktrace::down(ofThread);
        }
        const stacktrace mine = stacktrace::getTrace();
        for (unsigned int depth = 0; depth < deep; ++depth) {
            isRight = isRight && mine[depth] == ofThread;
        }
        for (int depth = 0; depth < deep; ++depth) {
            stacktrace::up();
        }
    });
    CHECK(isRight);
}

TEST_CASE("a signal handler may trace while its thread is new to the library",
          "[trace][singlestep]")
{
    static unsigned long long at = 0;
    static unsigned long long steps = 0;
    for (bool isReached = true; isReached; at += 1 + at / 4) {
        stepThrough(
            [] {
                const hashedfunction* const known = ofHandler;
                std::thread(beKnown).join(); // another one
                ofHandler = known ? known : ofHandler;
                steps = 0;
            },
            traceOnThread,
            [] {
                if (++steps == at + 1) {
                    traceInHandler();
                }
            });
        isReached = steps > at;
    }
    CHECK(at > 100);
}

TEST_CASE("a signal handler may trace within long lines and streams", "[trace][singlestep]")
{
    static const std::string longText(2000, 'x');
    static const std::wstring wideText(2000, L'x');
    stepThrough(beKnown, [] {
        tolvane::scope log(ofThread, "void thread()");
        ++linesOfThread;
        TOLVANE_LOG(log, tl_info) << longText << wideText << "\xFF";
        ++linesOfThread;
        log(tl_info) << wideText.c_str();
        log.put(L'\n');
    });
}

TEST_CASE("a signal handler may trace while its thread is in the facade", "[trace][singlestep]")
{
    static const tolvane::string name(L"signalhandler");
    for (void (*const call)() : {
             +[] { trace::flush(0); },
             +[] { trace::sync(100); },
             +[] { trace::flush(20); },
             +[] { trace::lost(); },
             +[] { trace::setLevel(tl_info, name); },
             +[] { trace::level(name); },
             +[] { trace::registerfunction("void registered::now()"); },
         }) {
        stepThrough(beKnown, [call] {
            traceOnThread();
            call();
        });
    }
}

TEST_CASE("a signal handler may trace while its thread attaches and removes sinks",
          "[trace][singlestep]")
{
    static const countingsink again;
    unsigned long long lines = 0; // those that come without a sink are none's
    const std::function<void()> handler = traceInHandler;
    step(
        lines, beKnown, [] { trace::output(again).setLevel(tl_info); }, handler);
    step(
        lines, beKnown, [] { trace::remove(again); }, handler);
}
