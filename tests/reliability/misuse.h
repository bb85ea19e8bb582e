#pragma once

#include "tests/reliability/rows.h"

namespace reliability {

/// Misuse that only this platform knows.
std::vector<row> platformMisuse();

} // namespace reliability
