#include "stacktrace/faulthooks.h"

#include "stacktrace/windows/processmodules.h"
#include "stacktrace/windows/translator.h"
#include "support/windows/platform.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <exception>

// Not every copy of the platform's headers has it.
extern "C" __declspec(dllimport) BOOL WINAPI SetThreadStackGuarantee(PULONG);

namespace faults {

namespace {

/// Exceptions of C++ code go on to the terminate handler from where they were thrown, others from
/// here.
LONG WINAPI unhandledFilter(EXCEPTION_POINTERS* fault)
{
    const DWORD code = fault->ExceptionRecord->ExceptionCode;
    // The system asks no filter in a process that is debugged, but startup code that replaced this
    // one passes what it doesn't know on to it.
    if (isForDebugger(code) && IsDebuggerPresent()) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const bool isContinuable =
        (fault->ExceptionRecord->ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0;
    if (isThrow(code) && isContinuable) {
        return answerToThrow();
    }
    terminateFor(code);
}

void __cdecl signalHandler(int number)
{
    // Delivery took the handler away; a second signal on another thread must find it again.
    std::signal(number, signalHandler);
    if (isSignalOfStartupFilter()) {
        terminateFor(static_cast<unsigned int>(EXCEPTION_ACCESS_VIOLATION));
    }
    onSignal(number);
}

void __cdecl invalidParameter(const wchar_t* expression, const wchar_t* function,
                              const wchar_t* file, unsigned int line, uintptr_t)
{
    onInvalidParameter(expression, function, file, line);
}

using InvalidParameterHandler = decltype(&invalidParameter);
using SetInvalidParameterHandler = InvalidParameterHandler(__cdecl*)(InvalidParameterHandler);

/// Handlers of the whole process.
struct Handlers
{
    LPTOP_LEVEL_EXCEPTION_FILTER filter;
    void (*signal)(int);
    std::terminate_handler terminate;
};

/// \return what was there.
Handlers install()
{
    return {SetUnhandledExceptionFilter(unhandledFilter), std::signal(SIGSEGV, signalHandler),
            std::set_terminate(onTerminate)};
}

/// What was there before the library was loaded: known from the first call on.
const Handlers& original()
{
    static const Handlers found = install();
    return found;
}

/// A process can hold several C runtimes, each with a handler of its own; so many that differ are
/// remembered.
struct RuntimeHandler
{
    std::atomic<void*> setter{nullptr};
    std::atomic<InvalidParameterHandler> previous{nullptr};
};

RuntimeHandler runtimeHandlers[16];

void rememberRuntime(void* setter, InvalidParameterHandler handler)
{
    for (RuntimeHandler& known : runtimeHandlers) {
        void* expected = nullptr;
        if (known.setter.compare_exchange_strong(expected, setter)) {
            known.previous = handler;
            return;
        }
        if (expected == setter) {
            return;
        }
    }
}

void takeInvalidParameters(void* setter, void*)
{
    const auto set = reinterpret_cast<SetInvalidParameterHandler>(setter);
    const InvalidParameterHandler handler = set(invalidParameter);
    if (handler != invalidParameter) {
        rememberRuntime(setter, handler);
    }
}

void giveInvalidParametersBack(void* setter, void*)
{
    const auto set = reinterpret_cast<SetInvalidParameterHandler>(setter);
    for (const RuntimeHandler& known : runtimeHandlers) {
        if (known.setter == setter) {
            const InvalidParameterHandler handler = set(known.previous);
            if (handler != invalidParameter) {
                set(handler); // the application's, which came later
            }
        }
    }
}

} // namespace

bool isForDebugger(unsigned int code)
{
    return code == EXCEPTION_BREAKPOINT || code == EXCEPTION_SINGLE_STEP;
}

void installHooks() noexcept
{
    original();
    install();
    forEachExport("_set_invalid_parameter_handler", takeInvalidParameters, nullptr);
    installTranslator();
    installPureCallHandler();
    prepareThread();
}

/// A hook of the application's that came later is found by taking it out, and put in again.
void uninstallHooks() noexcept
{
    const auto filter = SetUnhandledExceptionFilter(original().filter);
    if (filter != unhandledFilter) {
        SetUnhandledExceptionFilter(filter);
    }
    const auto signal = std::signal(SIGSEGV, original().signal);
    if (signal != signalHandler) {
        std::signal(SIGSEGV, signal);
    }
    forEachExport("_set_invalid_parameter_handler", giveInvalidParametersBack, nullptr);
    uninstallTranslator();
    uninstallPureCallHandler();
    if (std::get_terminate() == onTerminate) {
        std::set_terminate(original().terminate);
    }
}

/// Leaves a thread whose stack overflowed room for the handlers; best effort, the answer is not
/// looked at.
void prepareThread() noexcept
{
    ULONG bytes = 64 * 1024; // unwinding takes about 16 KiB, the report as much again
    SetThreadStackGuarantee(&bytes);
}

/// Debuggers see every fault first.
void giveToOthers() noexcept {}

void endThread(unsigned int code) noexcept
{
    ExitThread(code);
}

void endThreadAtOnce(unsigned int code) noexcept
{
    ExitThread(code); // the system's own allocator lets its thread in again
}

void pinModule() noexcept
{
    HMODULE self = nullptr;
    // Fails only for an address outside every module, which this function's is not.
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&pinModule), &self);
}

} // namespace faults
