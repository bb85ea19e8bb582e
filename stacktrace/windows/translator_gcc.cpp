// GCC and clang (mingw-w64) have no hook that turns structured exceptions into C++ ones. A vectored
// handler sees every fault before any frame does; where C++ code would take the fault, or nobody,
// it sends the faulting thread to a function that throws, as if the faulting instruction had called
// it. The file is empty for the Microsoft compiler, see translator_msvc.cpp.
#ifdef __MINGW32__

#include "stacktrace/windows/translator.h"

#include "stacktrace/faulthooks.h"
#include "stacktrace/structuredexception.h"
#include "stacktrace/windows/framewalk.h"
#include "stacktrace/windows/processmodules.h"
#include "support/windows/platform.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <iterator>
#include <typeinfo>

static std::atomic<bool> isPureCallReported{false};

extern "C" {

/// In trampoline_gcc.S: calls tolvaneThrowStructuredException(ecx) from a frame of its own.
[[noreturn]] void tolvaneThrowFromFault();

[[noreturn]] void tolvaneThrowStructuredException(unsigned int code)
{
    faults::throwStructuredException(code);
}

/// Where calls of pure virtual functions go in modules that hold a strong reference to it, which
/// the public headers provide. (The runtime's own would end the process.)
[[noreturn]] __declspec(dllexport) void __cxa_pure_virtual()
{
    if (isPureCallReported) {
        faults::onPureCall();
    }
    faults::onUnreportedPureCall();
}

} // extern "C"

namespace faults {

namespace {

std::atomic<bool> isTranslating{false};

// Filled in before the vectored handler is installed; the list of structured handlers also grows
// later.
ProcessHandlers processHandlers;

/// Set in a thread whose fault is being looked at; a fault within that is not looked at again.
DWORD walkingSlot = TLS_OUT_OF_INDEXES;

bool catchesStructuredException(const void* typeInfo)
{
    const auto& type = *static_cast<const std::type_info*>(typeInfo);
    return type == typeid(std::exception) || type == typeid(StructuredException) ||
           type == typeid(tolvane::nonassignable_::nonassignable);
}

void rememberStructuredHandler(void* address, void*)
{
    for (std::atomic<const void*>& known : processHandlers.structured) {
        const void* expected = nullptr;
        if (known.compare_exchange_strong(expected, address) || expected == address) {
            return;
        }
    }
}

/// What GCC's throw raises.
constexpr DWORD gccThrow = 0x20474343;

/// Codes that are messages to a debugger, or exceptions of other languages and runtimes.
bool isForOthers(DWORD code)
{
    const DWORD gccMask =
        0x20ffffff; // GCC's throw, forced unwind and foreign unwind differ in the other bits
    const DWORD microsoftThrow = 0xE06D7363;
    const DWORD dotNetThrow = 0xE0434352;
    const DWORD dotNetThrowOld = 0xE0434F4D;
    const DWORD threadName = 0x406D1388;
    const DWORD firstDebuggerMessage = 0x40010003; // DBG_TERMINATE_THREAD ...
    const DWORD lastDebuggerMessage = 0x40010008;  // ... DBG_CONTROL_BREAK
    const DWORD wideDebuggerText = 0x4001000A;     // DBG_PRINTEXCEPTION_WIDE_C
    return (code & gccMask) == gccThrow || code == microsoftThrow || code == dotNetThrow ||
           code == dotNetThrowOld || code == threadName ||
           (firstDebuggerMessage <= code && code <= lastDebuggerMessage) ||
           code == wideDebuggerText;
}

/// While a thread's fault is looked at: marks the thread, and keeps its last error for those to
/// whom the fault is left.
class Walking
{
public:
    Walking() : m_lastError(GetLastError()), m_isFirst(TlsGetValue(walkingSlot) == nullptr)
    {
        if (m_isFirst) {
            TlsSetValue(walkingSlot, this);
        }
    }

    ~Walking()
    {
        if (m_isFirst) {
            TlsSetValue(walkingSlot, nullptr);
        }
        SetLastError(m_lastError);
    }

    Walking(const Walking&) = delete;
    Walking& operator=(const Walking&) = delete;

    bool isFirst() const { return m_isFirst; }

private:
    const DWORD m_lastError;
    const bool m_isFirst;
};

/// Leaves the floating point units as a call finds them: no fault pending, which would come back at
/// the next instruction, and none of the values that the interrupted expression had on the x87
/// stack.
void settleFloatUnits(CONTEXT& context)
{
    const DWORD sseFaults = 0x3f;  // the six sticky bits of MXCSR
    const WORD x87Faults = 0x80ff; // the same, stack fault, summary and busy bit of the status word
    const BYTE emptyStack = 0;     // a bit for each register in use
    context.MxCsr &= ~sseFaults;
    context.FltSave.MxCsr &= ~sseFaults;
    context.FltSave.StatusWord = static_cast<WORD>(context.FltSave.StatusWord & ~x87Faults);
    context.FltSave.TagWord = emptyStack;
}

/// Makes the thread go on in the trampoline, called from the place of the fault.
void redirectToThrow(CONTEXT& context, const FaultPoint& point, DWORD code)
{
    const DWORD trapFlag = 0x100;
    const DWORD directionFlag = 0x400; // C++ code expects it clear
    const uintptr_t returnAddress = returnAddressFor(point);
    context.Rsp = point.context.Rsp - sizeof returnAddress;
    *reinterpret_cast<uintptr_t*>(context.Rsp) = returnAddress;
    context.Rip = reinterpret_cast<uintptr_t>(&tolvaneThrowFromFault);
    context.Rcx = code;
    context.EFlags &= ~(trapFlag | directionFlag);
    settleFloatUnits(context);
}

LONG CALLBACK onFirstChance(EXCEPTION_POINTERS* fault)
{
    const DWORD code = fault->ExceptionRecord->ExceptionCode;
    if (isForOthers(code) || !isTranslating) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const Walking walking;
    CONTEXT& context = *fault->ContextRecord;
    const ThreadStack stack = ThreadStack::current();
    if (!walking.isFirst() || !stack.holds(context)) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const FaultPoint point = faultPoint(context);
    const FaultOwner owner = ownerOfFault(point, stack, processHandlers);
    if (owner == FaultOwner::structuredHandler ||
        (owner == FaultOwner::nobody && isForDebugger(code))) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    redirectToThrow(context, point, code);
    return EXCEPTION_CONTINUE_EXECUTION;
}

/// Learns what does not change, then has every fault brought to onFirstChance.
void* watchFaults()
{
    walkingSlot = TlsAlloc();
    processHandlers.catchTest = catchesStructuredException;
    processHandlers.startupFilter = startupFilterOf(GetModuleHandleW(nullptr), processHandlers);
    // Their functions that start a thread hold a filter around all of it.
    processHandlers.baseModules[0] =
        reinterpret_cast<uintptr_t>(GetModuleHandleW(L"libwinpthread-1.dll"));
    processHandlers.baseModules[1] = reinterpret_cast<uintptr_t>(GetModuleHandleW(L"msvcrt.dll"));
    // Last among the vectored handlers: those that repair their own faults come first.
    return AddVectoredExceptionHandler(0, onFirstChance);
}

} // namespace

void installTranslator()
{
    forEachExport("__C_specific_handler", rememberStructuredHandler,
                  nullptr); // runtimes may have been added
    static void* const watcher = watchFaults();
    static_cast<void>(watcher); // without memory for the handler faults stay structured exceptions
    isTranslating = true;
}

/// The handler stays, since another thread may be in it.
void uninstallTranslator()
{
    isTranslating = false;
}

void installPureCallHandler()
{
    isPureCallReported = true;
}

void uninstallPureCallHandler()
{
    isPureCallReported = false;
}

bool isThrow(unsigned int code)
{
    return code == gccThrow;
}

/// A throw to which nobody comes calls the terminate handler itself when it goes on.
long answerToThrow()
{
    return EXCEPTION_CONTINUE_EXECUTION;
}

bool isSignalOfStartupFilter()
{
    // This function, the signal handler, and who called that. A signal has the C runtime there.
    void* callers[3] = {};
    const WORD count =
        CaptureStackBackTrace(0, static_cast<DWORD>(std::size(callers)), callers, nullptr);
    return std::any_of(callers, callers + count, [](void* caller) {
        DWORD64 module = 0;
        const RUNTIME_FUNCTION* function =
            RtlLookupFunctionEntry(reinterpret_cast<DWORD64>(caller), &module, nullptr);
        return function != nullptr &&
               (module == processHandlers.baseModules[0] ||
                reinterpret_cast<const void*>(module + function->BeginAddress) ==
                    processHandlers.startupFilter);
    });
}

} // namespace faults

#endif
