#pragma once

namespace tolvane {

/// The calling thread is about to end, and the library's own thread, which lets no signal through,
/// keeps the process alive. When it is the main thread, or that has ended before, this starts a
/// thread that waits for the signals that the calling one lets through: what ends a process by
/// default, or has a handler, still does its work. One such thread is enough for a process.
///
/// Without memory for it, or threads, the calling thread does that itself and never returns. Does
/// nothing where signals are no matter of threads.
void appointSignalHeir() noexcept;

/// The calling thread is about to end; nothing of the library keeps the process alive.
void noteEndWithoutHeir() noexcept;

} // namespace tolvane
