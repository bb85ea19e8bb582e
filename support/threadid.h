#pragma once

namespace tolvane {

/// The operating system's number of the calling thread; never 0.
unsigned int currentThreadId() noexcept;

} // namespace tolvane
