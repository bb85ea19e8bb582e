#include "tests/reliability/children.h"
#include "tests/reliability/platformrows.h"

#include <signal.h>

#include <array>
#include <functional>

namespace reliability {

namespace {

constexpr const char* faultProgram = "tolvane_fault_child";
constexpr std::array<const char*, 2> threads = {"main", "other"};

/// Where it comes is different each time.
void overflowAmidAllocator(outcome& found, unsigned long long)
{
    const childresult result = runBeside(faultProgram, {"overflow-in-allocator", "main"});
    found.add(firstOf({wrongEnd(result, 0), wrongText("output", result.output, "ended 1001\n"),
                       countOf(result.error, "Trace follows:") == 1 ? "" : "not one report"}));
}

/// Faults that no unwinding can leave.
void uncatchable(const char* how, const char* expected, unsigned int reports, outcome& found,
                 unsigned long long run)
{
    static constexpr std::array<const char*, 3> faults = {"smashed", "no-frame-information",
                                                          "bad-stack"};
    const std::string name = faults[run % faults.size()];
    const std::string thread = threads[run / faults.size() % threads.size()];
    const childresult result = runBeside(faultProgram, {how, thread, name});
    found.add(firstOf({wrongEnd(result, 0), wrongText("output", result.output, expected),
                       countOf(result.error, "Trace follows:") == reports
                           ? ""
                           : "not " + std::to_string(reports) + " reports"}));
}

/// A way to lose the main thread, and what a signal does then.
struct lostmain
{
    const char* scenario;
    int signal;
    int code;
    const char* output;
};

constexpr int endedBySignal = 128;

constexpr lostmain endedBy(const char* scenario, int signal)
{
    return {scenario, signal, endedBySignal + signal, ""};
}

constexpr std::array<lostmain, 8> lostMains = {{
    endedBy("faultInMain", SIGTERM),
    {"fetch", SIGTERM, 0, "fetched 15\n"},
    {"handle", SIGTERM, 0, "handled\n"},
    endedBy("leaveMain", SIGTERM),
    endedBy("leaveBeforeWriter", SIGTERM),
    endedBy("faultInMain", SIGINT),
    endedBy("faultInMain", SIGHUP),
    endedBy("faultInMain", SIGQUIT),
}};

void signalWithoutMain(outcome& found, unsigned long long run)
{
    const lostmain& lost = lostMains[run % lostMains.size()];
    const childresult result =
        runBeside("tolvane_signal_child", {lost.scenario, std::to_string(lost.signal)});
    const std::string wrong =
        firstOf({wrongEnd(result, lost.code), wrongText("output", result.output, lost.output)});
    found.add(wrong.empty() ? "" : std::string(lost.scenario) + ": " + wrong);
}

} // namespace

std::vector<row> platformFaults()
{
    using namespace std::placeholders;
    std::vector<row> rows = {
        {"uncatchable-fault",
         {6, 600, 6, 60},
         "a fault with a smashed frame, in the unwinder and with a bad stack pointer, on main and "
         "on threads",
         "No catch is found; the report comes, and the thread ends.",
         eachTime(std::bind(uncatchable, "missed", "ended 1001\n", 1, _1, _2))},
        {"uncatchable-fault-own-handler",
         {6, 600, 6, 60},
         "the same with a terminate handler of the application's",
         "The application's handler is called, and nothing is reported.",
         eachTime(std::bind(uncatchable, "own-handler", "own handler\n", 0, _1, _2))},
        {"signal-without-main",
         {8, 800, 8, 80},
         "TERM, INT, HUP or QUIT when main has ended, by a fault or by itself",
         "The signal ends the process, calls the application's handler, or is fetched by the "
         "thread that waits for it.",
         eachTime(signalWithoutMain)},
    };
    if (!sanitizer::present) { // which have allocators of their own, with reports of their own
        rows.push_back({"stack-overflow-amid-allocator",
                        {4, 300, 0, 0},
                        "main uses up its stack in malloc, wherever that is",
                        "The report comes, as plain text if need be, and the thread ends.",
                        eachTime(overflowAmidAllocator)});
    }
    return rows;
}

} // namespace reliability
