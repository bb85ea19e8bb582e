#pragma once

#include "tests/reliability/children.h"

#include "tests/helpers/temporaryfolder.h"

#include <cstdlib>
#include <sstream>

/// What the rows have in common that start the program of the tests about files.
namespace reliability {

/// A run of one of that program's cases, in a folder of its own.
struct filerun
{
    explicit filerun(const std::string& scenario,
                     const std::map<std::string, std::string>& environment = {})
        : result(runBeside("tolvane_file_child", {scenario, folder.path().string()}, environment))
    {
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t colon = line.find(": ");
            if (colon != std::string::npos) {
                said[line.substr(0, colon)] = std::strtoull(line.c_str() + colon + 2, nullptr, 10);
            }
        }
    }

    /// What it said of this name; 0 when it said nothing.
    unsigned long long number(const std::string& name) const
    {
        const auto found = said.find(name);
        return found == said.end() ? 0 : found->second;
    }

    /// What is wrong with its end and with all that it said.
    std::string wrong(const std::string& expected) const
    {
        return firstOf({wrongEnd(result, 0), wrongText("output", result.output, expected)});
    }

    temporaryfolder folder;
    childresult result;
    std::map<std::string, unsigned long long> said;
};

/// Lines of one sink, and how many of them are in the file.
inline void countLines(outcome& found, unsigned long long made, unsigned long long written)
{
    found.made += made;
    found.lost += made - std::min(made, written);
}

} // namespace reliability
