#pragma once

/// A few pointers per thread, cheaper than a search by thread id, and word of a thread's end.
/// Touches no error code of the thread.
namespace tolvane::threadslot {

enum slot_t : int
{
    callStack,  ///< the thread's stack of functions
    threadName, ///< what the application calls the thread
    lineStage,  ///< where the thread's lines wait for the queue
    slots
};

/// What the calling thread has put there; null at first.
void* get(slot_t slot) noexcept;

/// When memory is out the value is there all the same, as far as the platform can do so, but its
/// thread's end may go unnoticed.
///
/// Not to be called under a lock that an ended_t takes: on Windows the system holds a lock of its
/// own while it calls that, and takes it here, too.
void set(slot_t slot, void* value) noexcept;

/// The same for a value of which nobody is told when the thread ends. May be called by an ended_t.
void setUnnoticed(slot_t slot, void* value) noexcept;

/// Holds up other threads that start or end, on Windows, where the system's own lock is held
/// meanwhile: it should be quick, must not wait for a thread, and may do nothing that takes the
/// lock of the loader (load a library, look for a module or a function).
using ended_t = void (*)(void* value) noexcept;

/// Has a function called on every thread that has a value in the slot when it ends, whoever
/// started the thread. It gets the value; the slot is null by then. Called once for a slot, before
/// the first set().
///
/// Code that runs on the thread after that finds null. When it puts a value in, the function is
/// called again on Linux, which asks a few times (PTHREAD_DESTRUCTOR_ITERATIONS) whether something
/// is left; on Windows it is not, and there that code may include the destructors of thread_local
/// objects. Nothing is called for a thread that is gone without notice (by a raw system call,
/// TerminateThread, the end of the process), nor for the one that ends the process. The one thread
/// of a forked process has the values of the thread that forked. On Windows the end of the fiber
/// that put the value in counts as the thread's end, which may go on with an empty slot.
///
/// The call may come while static objects are destroyed, or after.
void whenThreadEnds(slot_t slot, ended_t ended) noexcept;

} // namespace tolvane::threadslot
