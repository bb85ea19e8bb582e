#pragma once

#include <cstdint>

namespace faults {

/// Where a thread stood when its signal came, and what it does instead of going on there.
///
/// trampoline.S knows this layout: it runs with the stack pointer on such a record, and its
/// call-frame information finds every register of the interrupted function in it.
struct alignas(16) InterruptedFrame
{
    /// The numbers that call-frame information gives to the registers.
    enum Register
    {
        rax,
        rdx,
        rcx,
        rbx,
        rsi,
        rdi,
        rbp,
        rsp,
        r8,
        r9,
        r10,
        r11,
        r12,
        r13,
        r14,
        r15,
        rip,
        registerCount
    };

    uint64_t registers[registerCount]; ///< as the unwinder shall find them
    uint64_t argument;                 ///< what action gets
    void (*action)(uint64_t argument); ///< called on this frame; never returns, but may throw
};

} // namespace faults

/// Calls the action of the InterruptedFrame that the stack pointer is on; entered by a jump only.
extern "C" void tolvane_faults_trampoline();

/// Ends the calling thread with the result that join gives. Destructors of its thread_local objects
/// run, those of objects on its stack don't.
extern "C" [[noreturn]] void tolvane_faults_leave(void* result);
