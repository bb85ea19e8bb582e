#pragma once

/// Threads that neither the library nor the standard library has started.
namespace foreignthread {

/// Runs a function on a thread that the platform's own call starts, and waits for the thread's end.
void run(void (*function)(void* argument), void* argument);

/// Whether the platform asks again what is left in a thread's slots when it has told of what was
/// there.
bool isEndToldAgain();

/// Whether the destructors of a thread's thread_local objects always come before its end is told.
bool isEndToldLast();

} // namespace foreignthread
