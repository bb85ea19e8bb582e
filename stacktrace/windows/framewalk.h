#pragma once

#include "stacktrace/windows/handlerdata.h"
#include "support/windows/platform.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace faults {

/// Who would take a fault if every frame above it were asked in turn.
enum class FaultOwner
{
    nobody,           ///< no frame: thrown, it ends in the terminate handler
    cppFrame,         ///< a catch clause, or a frame that lets no exception out
    structuredHandler ///< __try of other code, or a handler of another language: leave the fault to
                      ///< it
};

/// Where a fault happened, put so that it can be unwound.
struct FaultPoint
{
    CONTEXT
    context; ///< after a jump to a bad address: the caller's, as if the jump had not been made
    bool isCaller; ///< context.Rip is a return address, one past the instruction that counts
};

/// The stack that is walked.
struct ThreadStack
{
    uintptr_t start;       ///< its lowest address, whether or not it was used yet
    uintptr_t end;         ///< one past its highest address
    uintptr_t handlerList; ///< NtTib.ExceptionList: Wine's own __try blocks are there, not in
                           ///< unwind information

    /// That of the calling thread.
    static ThreadStack current();

    /// True when the word on top of the context's stack lies on this one.
    bool holds(const CONTEXT& context) const;
};

/// What the walk knows of this process.
struct ProcessHandlers
{
    static const size_t mostStructured =
        16; // a copy in ntdll and one in each generation of the C runtime

    std::atomic<const void*>
        structured[mostStructured]; ///< __C_specific_handler, every copy; unused ones null
    const void* startupFilter;      ///< filter of the program's startup code, see startupFilterOf
    uintptr_t baseModules[2]; ///< modules whose filters only guard a thread's base; 0: not loaded
    CatchTest catchTest;
};

/// The place of the fault: after a jump into nothing, that is the caller, which is on top of the
/// stack.
///
/// REQUIRES: the thread's stack holds the context.
FaultPoint faultPoint(const CONTEXT& fault);

/// Walks the stack from the fault outwards and decides who owns it.
///
/// Calls no filter and no handler, takes no lock of this library, allocates nothing. A stack that
/// cannot be walked to its end counts as ending where the walk has to stop. Thread-safe.
FaultOwner ownerOfFault(const FaultPoint& fault, const ThreadStack& stack,
                        const ProcessHandlers& handlers);

/// The return address that stands for the place of the fault: one that unwinds exactly like the
/// place itself, and of which the instruction before it is the one that faulted.
///
/// Usually one byte on. Bytes from the middle of an instruction can read as the end of a function,
/// which would be unwound otherwise; then the next address without that flaw.
uintptr_t returnAddressFor(const FaultPoint& fault);

/// The filter with which the startup code of the program (mainCRTStartup and its like) guards
/// everything that runs in the main thread; null when the program's entry has none.
///
/// \param program   the executable's module
/// \param handlers  whose list of structured handlers is filled in
const void* startupFilterOf(HMODULE program, const ProcessHandlers& handlers);

} // namespace faults
