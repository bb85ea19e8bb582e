#pragma once

namespace faults {

/// Sees the whole code with which a thread ends; the system keeps 8 bits of it and join shows none.
using ThreadEndObserver = void (*)(unsigned int code);

/// Replaces the observer that endThread calls, on the ending thread, right before it ends. Null:
/// none, as at the start. Thread-safe.
void observeThreadEnd(ThreadEndObserver observer);

} // namespace faults
