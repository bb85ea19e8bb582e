#pragma once

#include <cstddef>

/// Threads that neither the library nor the standard library has started.
namespace foreignthread {

/// Runs a function on a thread that the platform's own call starts, and waits for the thread's end.
/// \param stackSize  bytes; 0: as much as threads have.
/// \return false when it could not be started.
bool run(void (*function)(void* argument), void* argument, std::size_t stackSize = 0);

/// Whether the platform asks again what is left in a thread's slots when it has told of what was
/// there.
bool isEndToldAgain();

/// Whether the destructors of a thread's thread_local objects always come before its end is told.
bool isEndToldLast();

} // namespace foreignthread
