#pragma once

#include "tests/reliability/rows.h"

namespace reliability {

/// What only this platform's system does to a process.
std::vector<row> platformProcesses();

} // namespace reliability
