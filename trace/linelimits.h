#pragma once

#include <cstddef>

/// How many lines may wait.
namespace linelimits {

/// More lines than a writer pass leaves behind: somebody traces what no sink takes, or faster than
/// the sinks write.
constexpr std::size_t pruneAbove = 1000;

/// When pruning does not help, the producer writes the lines itself, so that memory stays bounded.
constexpr std::size_t writeAbove = 2000;

} // namespace linelimits
