#pragma once

/// Faults: what the platform's hooks call when one arrives, and what the platform provides.
namespace faults {

/// An exception that nobody catches: says which on standard error, reports "Unhandled Exception"
/// and ends the thread.
[[noreturn]] void onTerminate() noexcept;

/// A fault that nobody can catch: calls the terminate handler, which may be the application's, with
/// the exception that stands for the fault's code as the current one.
[[noreturn]] void terminateFor(unsigned int code) noexcept;

/// A signal that somebody sent: reports it and ends the thread with the signal's number.
[[noreturn]] void onSignal(int number) noexcept;

/// Reports "Pure virtual function called" and ends the thread.
[[noreturn]] void onPureCall() noexcept;

/// The same when the handlers are taken away: what the runtime library does, where its own function
/// for that cannot be reached.
[[noreturn]] void onUnreportedPureCall() noexcept;

/// Reports an argument that the C library refuses, and returns. Where it was found is known to
/// debug runtimes only; others give null pointers.
void onInvalidParameter(const wchar_t* expression, const wchar_t* function, const wchar_t* file,
                        unsigned int line) noexcept;

/// Throws the StructuredException of a code, in the middle of whatever the thread was doing.
[[noreturn]] void throwStructuredException(unsigned int code);

/// The same for a fault amid the allocator.
[[noreturn]] void throwAllocatorFault(unsigned int code);

// By the platform:

/// Installs the hooks, those of the calling thread included. Any number of times, from any thread.
/// What was installed before is replaced and not called any more.
void installHooks() noexcept;

/// Puts back what was there before the first installHooks(), where the library's hook is still in
/// its place.
void uninstallHooks() noexcept;

/// Prepares a thread of the library's own for an overflow of its stack.
void prepareThread() noexcept;

/// The fault that became the exception which is being handled was reported, and nobody caught it:
/// gives it to those who report it, too, and who may end the process.
void giveToOthers() noexcept;

/// Ends the calling thread alone, at once, without unwinding its stack.
/// \param code  the thread's exit code.
[[noreturn]] void endThread(unsigned int code) noexcept;

/// The same for a thread that may not be able to have memory: nothing of it is given back, and
/// destructors of its thread_local objects may not run.
[[noreturn]] void endThreadAtOnce(unsigned int code) noexcept;

/// Keeps the library from being unloaded: a hook must never point into memory that is gone.
void pinModule() noexcept;

} // namespace faults
