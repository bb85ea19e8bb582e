/// Runs the rows of a program and prints a line for each, its fields separated by tabulators; see
/// usage. Ends with 1 when a promise was broken.

#include "tests/reliability/rows.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>
#include <set>
#include <sstream>

namespace reliability {

namespace {

using std::chrono::steady_clock;

constexpr const char* usage =
    "--list                            the rows' names\n"
    "--short|--long [--slow] [ROW...]  runs these rows, or all; ~ROW: not this one\n"
    "                                  --slow: as often as under Wine or a sanitizer\n"
    "row NAME TIMES                    runs a row in this process\n"
    "child NAME [ARGUMENT...]          runs a scenario in this process\n";

constexpr int wrongUsage = 99;

/// More than any row takes.
constexpr std::chrono::minutes shortRowLimit{2};
constexpr std::chrono::minutes longRowLimit{60};

constexpr const char* outcomeMark = "outcome\t";

/// Which rows are run how often.
struct choice
{
    bool isLong = false;
    bool isSlow = false;
    std::set<std::string> only; ///< empty: all
    std::set<std::string> without;

    bool takes(const row& tested) const
    {
        return (only.empty() || only.count(tested.name) != 0) && without.count(tested.name) == 0;
    }

    unsigned long long times(const frequency& of) const
    {
        if (isLong) {
            return isSlow ? of.slowLongForm : of.longForm;
        }
        return isSlow ? of.slowShortForm : of.shortForm;
    }
};

/// A text that fits into a field.
std::string inOneLine(std::string text)
{
    for (char& character : text) {
        if (static_cast<unsigned char>(character) < ' ') {
            character = ' ';
        }
    }
    return text;
}

const row* findRow(const std::string& name)
{
    static const std::vector<group> groups = allGroups();
    for (const group& each : groups) {
        for (const row& tested : each.rows) {
            if (name == tested.name) {
                return &tested;
            }
        }
    }
    return nullptr;
}

int runRow(const std::string& name, unsigned long long times)
{
    const row* const tested = findRow(name);
    if (!tested) {
        return wrongUsage;
    }
    outcome found;
    try {
        found = tested->run(times);
    } catch (const std::exception& failure) {
        found.add(std::string("the test itself failed: ") + failure.what());
    }
    std::cout << '\n'
              << outcomeMark << found.runs << '\t' << found.made << '\t' << found.lost << '\t'
              << found.broken << '\t' << inOneLine(found.remark) << std::endl;
    return 0;
}

int runScenarioHere(const std::string& name, const std::vector<std::string>& arguments)
{
    for (const group& each : allGroups()) {
        for (const scenario& known : each.scenarios) {
            if (name == known.name) {
                return known.run(arguments);
            }
        }
    }
    return wrongUsage;
}

/// The outcome that the process of a row printed last.
bool parse(const std::string& output, outcome& found)
{
    const std::size_t start = output.rfind(outcomeMark);
    if (start == std::string::npos) {
        return false;
    }
    std::istringstream fields(output.substr(start + std::string(outcomeMark).size()));
    fields >> found.runs >> found.made >> found.lost >> found.broken;
    fields.get();
    std::getline(fields, found.remark);
    if (!found.remark.empty() && found.remark.back() == '\r') {
        found.remark.pop_back();
    }
    return !fields.bad();
}

/// An outcome, and how long it took.
struct measured
{
    outcome found;
    std::chrono::duration<double> took;
};

measured runInProcess(const row& tested, unsigned long long times, std::chrono::minutes limit)
{
    const steady_clock::time_point start = steady_clock::now();
    const childresult result = childprocess::run(
        childprocess::beside(programName), {"row", tested.name, std::to_string(times)}, {}, limit);
    outcome found;
    const std::string wrong = wrongEnd(result, 0);
    if (!wrong.empty() || !parse(result.output, found)) {
        found.add(wrong.empty() ? "no outcome" : wrong);
    }
    return {found, steady_clock::now() - start};
}

/// A row's run, which may still go on.
struct started
{
    const group* in;
    const row* tested;
    std::future<measured> result;
};

/// What was found so far.
struct totals
{
    unsigned long long runs = 0;
    unsigned int good = 0;
    unsigned int bad = 0;

    void report(started& running)
    {
        const measured result = running.result.get();
        const outcome& found = result.found;
        std::ostringstream seconds;
        seconds.precision(1);
        seconds << std::fixed << result.took.count();
        const row& tested = *running.tested;
        std::cout << tested.name << '\t' << running.in->name << '\t' << tested.injected << '\t'
                  << found.runs << '\t' << found.made << '\t' << found.lost << '\t' << found.broken
                  << '\t' << tested.promise << '\t' << seconds.str() << '\t'
                  << inOneLine(found.remark) << std::endl;
        runs += found.runs;
        ++(found.broken == 0 ? good : bad);
    }

    /// As Catch2 has it, for those who count tests.
    void print() const
    {
        if (bad == 0) {
            std::cout << "All tests passed (" << runs << " runs in " << good << " test cases)\n";
        } else {
            std::cout << "test cases: " << good + bad << " | " << good << " passed | " << bad
                      << " failed\n";
        }
    }
};

/// Those that wait run beside the others, which come one after the other.
int runRows(const choice& chosen)
{
    const std::vector<group> groups = allGroups();
    std::vector<started> idle;
    std::vector<started> others;
    const std::chrono::minutes limit = chosen.isLong ? longRowLimit : shortRowLimit;
    for (const group& each : groups) {
        for (const row& tested : each.rows) {
            const unsigned long long times = chosen.times(tested.times);
            if (!chosen.takes(tested) || times == 0) {
                continue;
            }
            const auto run = [&tested, times, limit] { return runInProcess(tested, times, limit); };
            const auto when = tested.isIdle ? std::launch::async : std::launch::deferred;
            (tested.isIdle ? idle : others).push_back({&each, &tested, std::async(when, run)});
        }
    }
    totals all;
    for (started& running : others) {
        all.report(running);
    }
    for (started& running : idle) {
        all.report(running);
    }
    all.print();
    return all.bad == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int list()
{
    for (const group& each : allGroups()) {
        for (const row& tested : each.rows) {
            std::cout << tested.name << '\n';
        }
    }
    return EXIT_SUCCESS;
}

int refuse(const std::string& what)
{
    std::cerr << what << '\n' << usage;
    return wrongUsage;
}

int runChosen(const std::vector<std::string>& arguments)
{
    choice chosen;
    chosen.isLong = arguments[0] == "--long";
    for (auto argument = arguments.begin() + 1; argument != arguments.end(); ++argument) {
        if (*argument == "--slow") {
            chosen.isSlow = true;
            continue;
        }
        const bool isLeftOut = argument->compare(0, 1, "~") == 0;
        const std::string name = isLeftOut ? argument->substr(1) : *argument;
        if (!findRow(name)) {
            return refuse("no such row: " + name);
        }
        (isLeftOut ? chosen.without : chosen.only).insert(name);
    }
    return runRows(chosen);
}

int run(const std::vector<std::string>& arguments)
{
    const std::string what = arguments.empty() ? "" : arguments[0];
    if (what == "--list") {
        return list();
    }
    if (what == "--short" || what == "--long") {
        return runChosen(arguments);
    }
    if (what == "row" && arguments.size() == 3) {
        return runRow(arguments[1], std::stoull(arguments[2]));
    }
    if (what == "child" && arguments.size() >= 2) {
        return runScenarioHere(arguments[1], {arguments.begin() + 2, arguments.end()});
    }
    return refuse("what is to be done?");
}

} // namespace

childresult runScenario(const std::string& name, const std::vector<std::string>& arguments,
                        const std::map<std::string, std::string>& environment,
                        std::chrono::milliseconds limit)
{
    std::vector<std::string> all{"child", name};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return childprocess::run(childprocess::beside(programName), all, environment, limit);
}

std::string wrongEnd(const childresult& result, int expectedCode)
{
    constexpr std::size_t enough = 300; // characters
    if (!result.timedOut && result.exitCode == expectedCode) {
        return "";
    }
    const std::string said = result.error.substr(0, enough);
    return (result.timedOut ? "killed when its time was up"
                            : "ended with exit code " + std::to_string(result.exitCode)) +
           (said.empty() ? "" : ", and said " + said);
}

} // namespace reliability

int main(int count, char** arguments)
{
    return reliability::run({arguments + 1, arguments + count});
}
