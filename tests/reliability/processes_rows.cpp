#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/processes.h"

#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <thread>

namespace reliability {

namespace {

constexpr unsigned long long lines = 500;

void traceLines()
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < lines; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

/// Leaves main with a guard there, and lines of two threads that wait.
int leaveGuarded(const std::vector<std::string>& arguments)
{
    const tolvane::FlushGuard guard;
    trace::output(filetracestream(arguments[0].c_str())).setLevel(tl_info);
    std::thread(traceLines).join();
    traceLines();
    return 0;
}

outcome leaveWithGuard(unsigned long long times)
{
    outcome found;
    const temporaryfolder folder;
    for (unsigned long long run = 0; run < times; ++run) {
        const std::string path = folder.file("trace" + std::to_string(run) + ".log");
        const childresult result = runScenario("leaveGuarded", {path});
        const filelines file(path);
        found.made += 2 * lines;
        found.lost += 2 * lines - file.whole;
        std::string wrong = wrongEnd(result, 0);
        if (wrong.empty() && (file.whole != 2 * lines || file.torn != 0)) {
            wrong = std::to_string(file.whole) + " lines";
        }
        found.add(wrong);
    }
    return found;
}

} // namespace

group processRows()
{
    group rows{"processes",
               {{"flush-guard",
                 {10, 1000, 3, 100},
                 "main returns with a FlushGuard in it, and lines of two threads queued",
                 "Nothing is lost, on Windows either.",
                 leaveWithGuard}},
               {{"leaveGuarded", leaveGuarded}}};
    std::vector<row> more = platformProcesses();
    for (row& each : more) {
        rows.rows.push_back(std::move(each));
    }
    return rows;
}

} // namespace reliability
