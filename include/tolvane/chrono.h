#pragma once

/// Times of lines as the standard library has them. Not part of tolvane.h, since <chrono> takes
/// long to compile.

#include <tolvane/formattedline.h>

#include <chrono>

namespace tolvane {

/// When a line was traced, as exactly as the system's clock counts.
inline std::chrono::system_clock::time_point timePoint(const formattedline& line)
{
    using clock = std::chrono::system_clock;
    return clock::time_point(
        std::chrono::duration_cast<clock::duration>(std::chrono::nanoseconds(line.time())));
}

} // namespace tolvane
