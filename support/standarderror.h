#pragma once

#include <cstddef>

namespace tolvane {

/// Writes bytes to the process's standard error, past all streams and their locks. Line feeds are
/// the platform's line ends.
///
/// What a pipe does not take within a second, since nobody reads it, is lost; where the platform
/// cannot tell, the call waits for the reader. Any thread may call it, also after a fault.
void writeStandardError(const char* bytes, std::size_t count) noexcept;

} // namespace tolvane
