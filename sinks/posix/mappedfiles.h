#pragma once

#include "support/mutex.h"

namespace tolvane {

/// Held by whoever opens, maps or closes a MappedFile: who forks takes it, so that a forked process
/// finds each of them whole.
Mutex::Impl& mappedFilesLock() noexcept;

/// To be called in a forked process by its thread, which took the lock before. Lets go of the
/// parent's files, which others may then have when the parent has ended, and gives the lock back.
void leaveMappedFiles() noexcept;

} // namespace tolvane
