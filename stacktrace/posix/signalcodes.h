#pragma once

namespace faults {

/// A signal that the hardware raised, as far as its exception code depends on it.
struct HardwareSignal
{
    int number; ///< SIGSEGV, SIGBUS, SIGFPE, SIGILL or SIGTRAP
    int code;   ///< the si_code, above 0
    bool
        privilegedInstruction; ///< the instruction is one of those that only the system may execute
    bool stackOverflow;        ///< the thread ran out of its stack
};

/// The code of the structured exception that stands for the signal. 0 for other signals: no
/// exception has it.
///
/// Thread-safe, and safe in signal handlers.
unsigned int exceptionCode(const HardwareSignal& signal);

/// Whether the instruction at the address is reserved to the system (hlt, cli, in, out, wrmsr and
/// the like).
///
/// The processor reports these as it reports a bad address. Reads no byte behind the instruction.
/// Thread-safe, and safe in signal handlers.
bool isPrivilegedInstruction(const unsigned char* instruction);

} // namespace faults
