#include "stacktrace/windows/framewalk.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#ifdef __GNUC__
#pragma GCC diagnostic ignored \
    "-Warray-bounds" // the thread's block is read through gs:0, which GCC 12 doubts
#endif

namespace faults {

namespace {

/// One entry of __C_specific_handler's table; all but the count are offsets from the module.
struct StructuredScope
{
    DWORD begin;
    DWORD end;
    DWORD filter; // 1: takes everything
    DWORD target; // 0: a __finally block, which takes nothing
};

struct Frame
{
    uintptr_t pc;
    uintptr_t module;
    const RUNTIME_FUNCTION* function; // null: a leaf, which has no handler
    const void* handler;
    void* handlerData;
};

/// Unwinds one frame; the context becomes the caller's.
Frame unwind(CONTEXT& context)
{
    Frame frame = {};
    frame.pc = context.Rip;
    DWORD64 module = 0;
    RUNTIME_FUNCTION* function = RtlLookupFunctionEntry(context.Rip, &module, nullptr);
    if (function == nullptr) {
        context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
        context.Rsp += sizeof(DWORD64);
        return frame;
    }
    frame.module = module;
    frame.function = function;
    DWORD64 establisher = 0;
    frame.handler = reinterpret_cast<const void*>(
        RtlVirtualUnwind(UNW_FLAG_EHANDLER, module, context.Rip, function, &context,
                         &frame.handlerData, &establisher, nullptr));
    return frame;
}

/// Follows the jumps by which a module reaches an imported function.
const unsigned char* behindThunks(const void* address)
{
    const int mostJumps = 4; // an import, and the stubs of a module that passes it on
    const unsigned char* code = static_cast<const unsigned char*>(address);
    for (int i = 0; i < mostJumps; ++i) {
        const size_t wide = code[0] == 0x48 ? 1 : 0;
        int32_t distance;
        if (code[wide] == 0xff &&
            code[wide + 1] == 0x25) { // jmp through memory, relative to its end
            std::memcpy(&distance, code + wide + 2, sizeof distance);
            std::memcpy(&code, code + wide + 6 + distance, sizeof code);
        } else if (code[0] == 0xe9) { // jmp, relative to its end
            std::memcpy(&distance, code + 1, sizeof distance);
            code += 5 + distance;
        } else {
            break;
        }
    }
    return code;
}

bool isStructuredHandler(const void* handler, const ProcessHandlers& handlers)
{
    return std::any_of(std::begin(handlers.structured), std::end(handlers.structured),
                       [handler](const std::atomic<const void*>& known) {
                           return known.load(std::memory_order_relaxed) == handler;
                       });
}

/// True for filters that guard the base of a thread, and not the code that put itself under their
/// care.
bool isBaseFilter(const Frame& frame, DWORD filter, const ProcessHandlers& handlers)
{
    for (const uintptr_t module : handlers.baseModules) {
        if (module != 0 && frame.module == module) {
            return true;
        }
    }
    return handlers.startupFilter != nullptr &&
           reinterpret_cast<const void*>(frame.module + filter) == handlers.startupFilter;
}

bool takesStructured(const Frame& frame, const ProcessHandlers& handlers)
{
    const auto* count = static_cast<const DWORD*>(frame.handlerData);
    const auto* scopes = reinterpret_cast<const StructuredScope*>(count + 1);
    const uintptr_t offset = frame.pc - frame.module;
    for (DWORD i = 0; i < *count; ++i) {
        const StructuredScope& scope = scopes[i];
        if (scope.begin <= offset && offset < scope.end && scope.target != 0 &&
            !isBaseFilter(frame, scope.filter, handlers)) {
            return true;
        }
    }
    return false;
}

FaultOwner ownerInFrame(const Frame& frame, bool isCaller, const ProcessHandlers& handlers)
{
    if (frame.handler == nullptr) {
        return FaultOwner::nobody;
    }
    if (isStructuredHandler(behindThunks(frame.handler), handlers)) {
        return takesStructured(frame, handlers) ? FaultOwner::structuredHandler
                                                : FaultOwner::nobody;
    }
    const size_t size = frame.function->EndAddress - frame.function->BeginAddress;
    const size_t offset =
        frame.pc - (isCaller ? 1 : 0) - frame.module - frame.function->BeginAddress;
    switch (landingAt(static_cast<const unsigned char*>(frame.handlerData), size, offset,
                      handlers.catchTest)) {
    case Landing::unreadable:
        return FaultOwner::structuredHandler;
    case Landing::catches:
    case Landing::terminates:
        return FaultOwner::cppFrame;
    default:
        return FaultOwner::nobody;
    }
}

bool isExecutable(uintptr_t address)
{
    const DWORD executable =
        PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    MEMORY_BASIC_INFORMATION page;
    return VirtualQuery(reinterpret_cast<const void*>(address), &page, sizeof page) != 0 &&
           page.State == MEM_COMMIT && (page.Protect & executable) != 0;
}

bool unwindsLike(const CONTEXT& expected, uintptr_t pc, CONTEXT context)
{
    context.Rip = pc;
    unwind(context);
    return context.Rip == expected.Rip && context.Rsp == expected.Rsp &&
           context.Rbx == expected.Rbx && context.Rbp == expected.Rbp &&
           context.Rsi == expected.Rsi && context.Rdi == expected.Rdi &&
           context.R12 == expected.R12 && context.R13 == expected.R13 &&
           context.R14 == expected.R14 && context.R15 == expected.R15;
}

} // namespace

ThreadStack ThreadStack::current()
{
    const auto* thread = reinterpret_cast<const NT_TIB*>(NtCurrentTeb());
    const uintptr_t end = reinterpret_cast<uintptr_t>(thread->StackBase);
    // StackLimit only tells what was used so far, and is a page behind while the stack grows or
    // overflows.
    MEMORY_BASIC_INFORMATION stack;
    if (VirtualQuery(reinterpret_cast<const void*>(end - 1), &stack, sizeof stack) == 0) {
        return {end, end, 0}; // holds nothing
    }
    return {reinterpret_cast<uintptr_t>(stack.AllocationBase), end,
            reinterpret_cast<uintptr_t>(thread->ExceptionList)};
}

bool ThreadStack::holds(const CONTEXT& context) const
{
    return context.Rsp >= start && context.Rsp < end && end - context.Rsp >= sizeof context.Rsp;
}

FaultPoint faultPoint(const CONTEXT& fault)
{
    FaultPoint point = {fault, false};
    DWORD64 module = 0;
    if (RtlLookupFunctionEntry(fault.Rip, &module, nullptr) == nullptr &&
        !isExecutable(fault.Rip)) {
        unwind(point.context);
        point.isCaller = true;
    }
    return point;
}

FaultOwner ownerOfFault(const FaultPoint& fault, const ThreadStack& stack,
                        const ProcessHandlers& handlers)
{
    const int mostFrames = 4096; // a damaged stack can lead in circles
    ThreadStack above = stack;
    above.start = fault.context.Rsp;
    CONTEXT context = fault.context;
    bool isCaller = fault.isCaller;
    for (int i = 0; i < mostFrames && above.holds(context); ++i) {
        const Frame frame = unwind(context);
        if (context.Rip == 0 || !above.holds(context)) {
            break; // what the outermost frame has only serves the unhandled-exception filter
        }
        const FaultOwner owner = ownerInFrame(frame, isCaller, handlers);
        if (owner != FaultOwner::nobody) {
            return owner;
        }
        if (stack.handlerList >= above.start && stack.handlerList < context.Rsp) {
            return FaultOwner::structuredHandler;
        }
        isCaller = true;
    }
    return FaultOwner::nobody;
}

uintptr_t returnAddressFor(const FaultPoint& fault)
{
    if (fault.isCaller) {
        return fault.context.Rip;
    }
    const uintptr_t longestInstruction = 15;
    CONTEXT expected = fault.context;
    unwind(expected);
    for (uintptr_t distance = 1; distance <= longestInstruction; ++distance) {
        if (unwindsLike(expected, fault.context.Rip + distance, fault.context)) {
            return fault.context.Rip + distance;
        }
    }
    return fault.context
        .Rip; // the last instruction of its function: unwinds rightly, the handler may be missed
}

const void* startupFilterOf(HMODULE program, const ProcessHandlers& handlers)
{
    const auto* base = reinterpret_cast<const unsigned char*>(program);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const DWORD entry = headers->OptionalHeader.AddressOfEntryPoint;
    DWORD64 module = 0;
    const RUNTIME_FUNCTION* function =
        RtlLookupFunctionEntry(reinterpret_cast<DWORD64>(base + entry), &module, nullptr);
    if (function == nullptr || module != reinterpret_cast<DWORD64>(base)) {
        return nullptr;
    }
    // Unwind information: flags above the three bits of the version, the count of codes in the
    // third byte; the codes of two bytes begin at the fifth and are filled up to an even count;
    // then the handler and its data.
    const unsigned char* information = base + function->UnwindData;
    const size_t codes = (information[2] + size_t{1}) & ~size_t{1};
    const auto* handler = reinterpret_cast<const DWORD*>(information + 4 + 2 * codes);
    if ((information[0] >> 3 & UNW_FLAG_EHANDLER) == 0 ||
        !isStructuredHandler(behindThunks(base + handler[0]), handlers)) {
        return nullptr;
    }
    const DWORD scopeCount = handler[1];
    const auto* scopes = reinterpret_cast<const StructuredScope*>(handler + 2);
    const DWORD takesEverything = 1;
    return scopeCount == 1 && scopes[0].filter > takesEverything ? base + scopes[0].filter
                                                                 : nullptr;
}

} // namespace faults
