#pragma once

#include "tests/helpers/childprocess.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// Tests that inject faults, many times each, and count what it cost. Each is a row of the table in
/// docs/reliability.md.
///
/// A row is a function and an entry in its group, which stands in a source file of its own. The
/// groups of the program that uses the library as an application does are in applicationgroups.cpp,
/// those of the one that sees the library's insides in insidegroups.cpp.
///
/// Every row runs in a process of its own: one that crashes or hangs breaks its promise and spoils
/// nothing else. A row that is about the end of processes starts one for each run, by
/// runScenario().
namespace reliability {

/// What a row found.
struct outcome
{
    unsigned long long runs = 0;   ///< how often the fault was injected
    unsigned long long made = 0;   ///< lines that the sinks that are looked at should have
    unsigned long long lost = 0;   ///< those of them that they do not have
    unsigned long long broken = 0; ///< runs in which the promise was not kept
    std::string remark;            ///< what was wrong in the first of them

    /// Counts a run.
    /// \param wrong  what was wrong; empty when the promise was kept.
    void add(const std::string& wrong)
    {
        ++runs;
        if (wrong.empty()) {
            return;
        }
        if (broken++ == 0) {
            remark = "run " + std::to_string(runs) + ": " + wrong;
        }
    }
};

/// How many runs a row makes.
struct frequency
{
    unsigned long long shortForm;
    unsigned long long longForm;
    unsigned long long slowShortForm; ///< under Wine and the sanitizers
    unsigned long long slowLongForm;
};

struct row
{
    std::string name;
    frequency times;
    std::string injected; ///< a phrase for the table
    std::string promise;  ///< the design's, a sentence for the table
    std::function<outcome(unsigned long long times)> run;
    bool isIdle = false; ///< it mostly waits: others run beside it
};

/// What a process does that a row starts.
struct scenario
{
    const char* name;

    /// \return the process's exit code.
    int (*run)(const std::vector<std::string>& arguments);
};

struct group
{
    const char* name;
    std::vector<row> rows;
    std::vector<scenario> scenarios = {};
};

/// The groups of the running program. Each program has a definition of its own.
std::vector<group> allGroups();

/// The running program's name, without the platform's ending.
extern const char* const programName;

constexpr std::chrono::seconds scenarioLimit{20};

/// Runs a scenario in a process of its own, which is killed when its time is up.
childresult runScenario(const std::string& name, const std::vector<std::string>& arguments = {},
                        const std::map<std::string, std::string>& environment = {},
                        std::chrono::milliseconds limit = scenarioLimit);

/// What is wrong with the end of a process.
/// \return empty when it ended by itself with this exit code.
std::string wrongEnd(const childresult& result, int expectedCode);

} // namespace reliability
