#pragma once

namespace faults {

/// Makes structured exceptions (hardware faults, RaiseException) arrive as StructuredException in
/// C++ code.
///
/// The Microsoft compiler's form serves the calling thread, the form for GCC and clang the whole
/// process. May be called any number of times, from any thread.
void installTranslator();

/// Leaves structured exceptions as they are again, in the same scope.
void uninstallTranslator();

/// Makes a call of a pure virtual function end in onPureCall(). Nothing to do where the library
/// provides the function that such calls reach.
void installPureCallHandler();

/// Puts back what was there before.
void uninstallPureCallHandler();

/// True for what a throw of the compiler's raises.
bool isThrow(unsigned int code);

/// What the filter of unhandled exceptions answers when such a throw comes to it, or the terminate
/// handler.
long answerToThrow();

/// True for breakpoints and single steps: a debugger gets them back when nobody else wants them.
bool isForDebugger(unsigned int code);

/// True within a signal handler that was not called for a signal, but by the filter of the startup
/// code, which turns faults that nobody took into SIGSEGV.
bool isSignalOfStartupFilter();

} // namespace faults
