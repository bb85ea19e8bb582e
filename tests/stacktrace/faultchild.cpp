#include "tests/stacktrace/faultchild.h"

#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/sinkset.h"
#include "tests/helpers/threadend.h"
#include "tests/stacktrace/faultraisers.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

// faultchild <case> main|thread [<argument>]
// Runs one case on the main or on another thread. What happens is written line by line to standard
// output; the last line is "ended" with the code of the thread.

void say(const std::string& line)
{
    std::fputs((line + '\n').c_str(), stdout);
    std::fflush(stdout);
}

void sayWhether(bool succeeded, const std::string& what)
{
    say((succeeded ? "ok " : "failed ") + what);
}

/// Not in an unnamed namespace, where the compiler would see that pure() has one implementation
/// only and call that.
struct abstractbase
{
    abstractbase();
    virtual ~abstractbase() = default;
    virtual void pure() = 0;
};

struct concreteclass : abstractbase
{
    void pure() override {}
};

static void (*volatile callVirtual)(abstractbase&) = [](abstractbase& object) { object.pure(); };

abstractbase::abstractbase()
{
    callVirtual(*this);
}

namespace {

int destroyedWitnesses = 0;

struct Witness
{
    ~Witness()
    {
        ++destroyedWitnesses;
        say("destroyed");
    }
};

struct ThreadWitness
{
    ~ThreadWitness() { say("thread_local destroyed"); }
    bool seen = false;
};

/// Opaque to the compiler, which must not conclude that nothing is thrown here.
void (*volatile raiseFault)() = nullptr;

void selectFault(const std::string& name)
{
    for (const std::vector<faultraiser>* list : {&faultRaisers(), &uncatchableFaults()}) {
        for (const faultraiser& raiser : *list) {
            if (raiser.name == name) {
                raiseFault = raiser.raise;
            }
        }
    }
}

void faultWithWitness()
{
    const Witness witness;
    raiseFault();
    say("not thrown");
}

/// More often than the x87 stack has places, as what a fault leaves behind shows at the next ones.
void catchFault(const faultraiser& raiser)
{
    const int rounds = raiser.usesUpStack ? 2 : 10;
    raiseFault = raiser.raise;
    for (int round = 0; round < rounds; ++round) {
        destroyedWitnesses = 0;
        try {
            faultWithWitness();
        } catch (const std::exception& exception) {
            const std::string text = exception.what();
            const bool right = text.size() > raiser.status.size() &&
                               text.substr(text.size() - raiser.status.size()) == raiser.status;
            sayWhether(right && destroyedWitnesses == 1, raiser.name);
        }
        resetFaultSetup();
    }
}

void catchEach(const std::string&)
{
    for (const faultraiser& raiser : faultRaisers()) {
        say(raiser.name);
        catchFault(raiser);
    }
}

/// Prints what is caught; nothing should be.
void missFault(const std::string& name)
{
    selectFault(name);
    try {
        faultWithWitness();
    } catch (const std::exception& exception) {
        say(std::string("caught ") + exception.what());
    }
}

void leaveFault(const std::string& name)
{
    selectFault(name);
    faultWithWitness();
}

void leaveFaultToOwnHandler(const std::string& name)
{
    std::set_terminate([] {
        say("own handler");
        std::_Exit(EXIT_SUCCESS);
    });
    leaveFault(name);
}

void faultUnderNoexcept(const std::string& name) noexcept
{
    leaveFault(name);
}

void callNoexcept(const std::string& name)
{
    try {
        faultUnderNoexcept(name);
    } catch (const std::exception&) {
        say("caught outside of noexcept");
    }
}

void catchMany(const std::string&)
{
    const int threadCount = 8;
    const int faultsEach = 500;
    std::atomic<int> caught{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
        threads.emplace_back([&caught, number] {
            stacktrace::installHandlers();
            for (int round = 0; round < faultsEach; ++round) {
                const std::size_t index = static_cast<std::size_t>(round + number);
                const faultraiser& raiser = faultRaisers()[index % faultRaisers().size()];
                void (*volatile raise)() =
                    raiser.usesUpStack ? faultRaisers()[0].raise : raiser.raise;
                try {
                    raise();
                } catch (const std::exception&) {
                    ++caught;
                }
                resetFaultSetup();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    say("caught " + std::to_string(caught));
}

void raiseSignal(const std::string&)
{
    static_cast<void>(std::raise(SIGSEGV));
}

void raiseTwice(const std::string&)
{
    std::optional<threadend> first;
    std::thread([&first] {
        first.emplace();
        static_cast<void>(std::raise(SIGSEGV));
    }).join();
    say("first ended " + std::to_string(first->wait()));
    static_cast<void>(std::raise(SIGSEGV));
}

void callPure(const std::string&)
{
    const Witness witness;
    concreteclass object;
}

void throwUncaught(const std::string&)
{
    const Witness witness;
    throw std::runtime_error("nobody catches this");
}

void endWithThreadLocal(const std::string& name)
{
    static thread_local ThreadWitness threadWitness;
    threadWitness.seen = true;
    leaveFault(name);
}

/// Its second line faults.
class faultingsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        say("logged " + std::to_string(++m_lines));
        if (m_lines == 2) {
            faultWithWitness();
        }
    }

    unsigned long long id() const override { return 1; }
    faultingsink* clone() const override { return new faultingsink; }

private:
    int m_lines = 0;
};

void faultInSink(const std::string& name)
{
    selectFault(name);
    const hashedfunction function("void f()");
    sinkset sinks;
    sinks.add<faultingsink>(tl_info);
    linebatch batch;
    for (const wchar_t* const body : {L"one", L"two", L"three"}) {
        batch.add(tl_info, function, body);
    }
    passwriter pass(sinks.sinks(), sinks.progress());
    pass.write(batch.lines());
    sayWhether(sinks.counts(1).written == 1 && sinks.counts(1).lost[trace::destination] == 2,
               "counted");
    try {
        std::rethrow_exception(pass.fault());
    } catch (const std::exception& exception) {
        say(std::string("caught ") + exception.what());
    }
}

faultcases allCases()
{
    faultcases cases = {{"caught", catchEach},
                        {"missed", missFault},
                        {"uncaught", leaveFault},
                        {"noexcept", callNoexcept},
                        {"own-handler", leaveFaultToOwnHandler},
                        {"many", catchMany},
                        {"signal", raiseSignal},
                        {"signal-twice", raiseTwice},
                        {"pure", callPure},
                        {"throw", throwUncaught},
                        {"thread-local", endWithThreadLocal},
                        {"sink", faultInSink}};
    cases.merge(platformFaultCases());
    cases.merge(directFaultCases());
    return cases;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const std::vector<std::string> words(arguments, arguments + argumentCount);
    const std::string argument = words.size() > 3 ? words[3] : "";
    const faultcases cases = allCases();
    const auto chosen = cases.find(words.size() > 2 ? words[1] : "");
    if (chosen == cases.end()) {
        say("no such case");
        return EXIT_FAILURE;
    }

    const auto run = [&] {
        // the case's thread may be ended by force: another one waits for that and ends the process
        const threadend end;
        std::thread([end] {
            const unsigned int code = end.wait();
            trace::sync(10000); // the report
            say("ended " + std::to_string(code));
            std::_Exit(EXIT_SUCCESS);
        }).detach();
        stacktrace::installHandlers();
        chosen->second(argument);
        say("returned");
    };
    std::ostringstream taken; // a report is written when some sink took errors before
    trace::output(ostreamtracestream<char>(taken)).setLevel(tl_error);
    if (words[2] == "main") {
        run();
        trace::sync(10000);
        std::_Exit(EXIT_SUCCESS);
    }
    std::thread(run).join();
    for (;;) {
        std::this_thread::yield();
    }
}
