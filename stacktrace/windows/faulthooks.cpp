#include "stacktrace/faulthooks.h"

#include "stacktrace/windows/processmodules.h"
#include "stacktrace/windows/translator.h"
#include "support/windows/platform.h"

#include <csignal>
#include <cstdint>
#include <exception>

// Not every copy of the platform's headers has it.
extern "C" __declspec(dllimport) BOOL WINAPI SetThreadStackGuarantee(PULONG);

namespace faults {

namespace {

LONG WINAPI unhandledFilter(EXCEPTION_POINTERS* fault)
{
    // The system asks no filter in a process that is debugged, but startup code that replaced this
    // one passes what it doesn't know on to it.
    if (isForDebugger(fault->ExceptionRecord->ExceptionCode) && IsDebuggerPresent()) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    onTerminate();
}

void __cdecl signalHandler(int number)
{
    // Delivery took the handler away; a second signal on another thread must find it again.
    std::signal(number, signalHandler);
    if (isSignalOfStartupFilter()) {
        onTerminate();
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

void takeInvalidParameters(void* address, void*)
{
    reinterpret_cast<SetInvalidParameterHandler>(address)(invalidParameter);
}

/// A process can hold several C runtimes, each with a handler of its own.
void installInvalidParameterHandler()
{
    forEachExport("_set_invalid_parameter_handler", takeInvalidParameters, nullptr);
}

/// Leaves a thread whose stack overflowed room for the handlers; best effort, the answer is not
/// looked at.
void reserveStackForHandlers()
{
    ULONG bytes = 64 * 1024; // unwinding takes about 16 KiB, the report as much again
    SetThreadStackGuarantee(&bytes);
}

} // namespace

bool isForDebugger(unsigned int code)
{
    return code == EXCEPTION_BREAKPOINT || code == EXCEPTION_SINGLE_STEP;
}

void installHooks() noexcept
{
    SetUnhandledExceptionFilter(unhandledFilter);
    std::signal(SIGSEGV, signalHandler);
    installInvalidParameterHandler();
    installTranslator();
    installPureCallHandler();
    std::set_terminate(onTerminate);
    reserveStackForHandlers();
}

void endThread(unsigned int code) noexcept
{
    ExitThread(code);
}

void pinModule() noexcept
{
    HMODULE self = nullptr;
    // Fails only for an address outside every module, which this function's is not.
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&pinModule), &self);
}

} // namespace faults
