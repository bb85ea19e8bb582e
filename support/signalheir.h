#pragma once

namespace tolvane {

/// How the calling thread ends, and what the process lives on with.
struct SignalBequest
{
    /// The library's own thread keeps the process alive, and the heir stays for good. Otherwise the
    /// process ends with its last other thread, as it would without the heir.
    bool isForGood = false;

    /// The thread may hold the allocator's lock: it asks for no memory.
    bool isAmidAllocator = false;

    /// Of the thread, and of the process if that is the main thread.
    unsigned int exitCode = 0;
};

/// The calling thread is about to end, and the process may live on. When it is the main thread, or
/// that has ended before, this starts a thread that waits for the signals that the calling one lets
/// through: what ends a process by default, or has a handler, still does its work. The threads that
/// are left may let none through, as the library's own does. One such thread is enough for a
/// process.
///
/// Without memory for it, or threads, the calling thread does that itself, and returns when no
/// other thread lives. Does nothing where signals are no matter of threads.
void appointSignalHeir(const SignalBequest& bequest) noexcept;

/// The calling thread is about to end, and nobody asked for an heir.
void noteEndWithoutHeir() noexcept;

} // namespace tolvane
