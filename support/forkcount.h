#pragma once

#include <atomic>

namespace tolvane {

/// How many forks lie between this process and the one that loaded the library: what was noted
/// under another number is another process's.
inline std::atomic<unsigned int> forkCount{0};

} // namespace tolvane
