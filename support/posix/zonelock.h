#pragma once

#include "support/mutex.h"

namespace tolvane {

/// Held by whoever asks for the zone's offset, around the C library's own lock of its rules: that
/// one is not free in a forked process when another thread had it, so who forks takes this one.
Mutex::Impl& zoneLock() noexcept;

} // namespace tolvane
