#pragma once

namespace faults {

/// Sees the whole code with which a thread ends. pthread_join returns it whole too, for every
/// thread but the main one, whose code becomes the process's exit code, cut to 8 bits.
/// std::thread::join returns none.
using ThreadEndObserver = void (*)(unsigned int code);

/// Replaces the observer that endThread calls, on the ending thread, right before it ends. Null:
/// none, as at the start. Thread-safe.
void observeThreadEnd(ThreadEndObserver observer);

} // namespace faults
