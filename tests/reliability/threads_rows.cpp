#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/helpers/attached.h"

#include <tolvane/tolvane.h>

#include <list>
#include <set>
#include <thread>

namespace reliability {

static void inner(unsigned long long number)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "thread " << number;
}

static void outer(unsigned long long number)
{
    TOLVANE_SCOPE(log);
    inner(number);
}

namespace {

/// What a copy of a stack holds that it never held.
std::string wrongStack(const stacktrace& stack)
{
    static const char* const names[] = {"reliability::outer", "reliability::inner"};
    if (stack.size() > 2) {
        return "a stack of " + std::to_string(stack.size()) + " functions";
    }
    for (unsigned long long depth = 0; depth < stack.size(); ++depth) {
        const hashedfunction* const function = stack[depth];
        if (!function || function->name().compare(names[depth]) != 0) {
            return "a stack with another function than ran";
        }
    }
    return "";
}

/// Reads all stacks until it is told to end.
void readStacks(const std::atomic<bool>& goOn, std::string& wrong)
{
    while (goOn) {
        for (const stacktrace& stack : stacktrace::getTraces()) {
            if (wrong.empty()) {
                wrong = wrongStack(stack);
            }
        }
    }
}

outcome threadsComeAndGo(unsigned long long times)
{
    constexpr unsigned long long together = 20;
    outcome found;
    const actingsink sink(1);
    const attached attachment(sink, tl_info);
    const unsigned long long lostBefore = trace::lost();
    std::atomic<bool> goOn{true};
    std::string wrong;
    std::thread reader([&] { readStacks(goOn, wrong); });
    while (found.runs < times) {
        std::vector<std::thread> threads;
        for (unsigned long long thread = 0; thread < together && found.runs < times; ++thread) {
            threads.emplace_back(outer, found.runs);
            found.add("");
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    goOn = false;
    reader.join();
    trace::sync(generousWait);
    found.made = times;
    found.lost = times - sink.written();
    if (found.lost != trace::lost() - lostBefore) {
        wrong = std::to_string(found.lost) + " lines are missing, " +
                std::to_string(trace::lost() - lostBefore) + " were counted";
    }
    found.broken = wrong.empty() ? 0 : 1;
    found.remark = wrong;
    return found;
}

} // namespace

group threadRows()
{
    return {"threads",
            {
                {"threads-come-and-go",
                 {1000, 10000, 300, 10000},
                 "a thread traces and ends, 20 at a time, while another one reads all stacks",
                 "Readers of stacks see what a thread's stack held at some moment; no thread that "
                 "traces or ends waits for them.",
                 threadsComeAndGo},
            }};
}

} // namespace reliability
