#pragma once

#include "tests/reliability/rows.h"

/// Rows of the groups of these names that only this platform has.
namespace reliability {

std::vector<row> platformFaults();
std::vector<row> platformProcesses();
std::vector<row> platformFiles();

/// Puts them behind the others.
inline void append(std::vector<row>& rows, std::vector<row> more)
{
    for (row& each : more) {
        rows.push_back(std::move(each));
    }
}

} // namespace reliability
