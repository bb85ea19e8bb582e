#pragma once

#include <iosfwd>
#include <optional>

namespace tolvane {

/// One of the process's standard streams.
enum class standardstream
{
    output,
    error
};

/// Which of the process's standard streams a stream's buffer writes to; nothing for a buffer of the
/// application's, or null.
std::optional<standardstream> standardStreamOf(std::streambuf* buffer);

} // namespace tolvane
