#pragma once

#include "support/mutex.h"

namespace tolvane {

/// Held by whoever asks for the zone's offset, around the C library's own lock of its rules: that
/// one is not free in a forked process when another thread had it, so who forks takes this one.
Mutex::Impl& zoneLock() noexcept;

/// To be called in a forked process by its thread, which took the lock before. Gives it back; from
/// now on the C library is not asked, whose own lock a thread of the application's may have had.
void ownZoneLock() noexcept;

} // namespace tolvane
