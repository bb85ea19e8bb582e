#pragma once

/// Frames that the compiler cannot write here: those of other code that handles structured
/// exceptions. Each calls function(argument).
extern "C" {

/// __try { ... } __except (EXCEPTION_EXECUTE_HANDLER) {}
/// \return 1 when the handler took something, else 0.
int guardedCall(void (*function)(void*), void* argument);

/// The same, but the handler asks takeEverything().
int filteredCall(void (*function)(void*), void* argument);

/// The filter of filteredCall; it says EXCEPTION_EXECUTE_HANDLER.
int takeEverything(void* pointers, void* frame);

/// A handler that looks at everything and takes nothing.
int decliningCall(void (*function)(void*), void* argument);

/// __try { ... } __finally {}
void finallyCall(void (*function)(void*), void* argument);

/// Reads *address. One byte into the instruction that does, the code reads as the end of a
/// function.
void readLikeEpilogue(const int* address);

/// Where that instruction, of three bytes, begins.
extern const unsigned char readLikeEpiloguePlace[];

} // extern "C"
