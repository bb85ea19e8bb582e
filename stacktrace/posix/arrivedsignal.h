#pragma once

#include <signal.h>
#include <ucontext.h>

#include <cstdint>

namespace faults {

/// A signal that a handler was just called with, and what can be found out about it.
///
/// Used within the handler only; every operation is safe there.
class ArrivedSignal
{
public:
    ArrivedSignal(int number, const siginfo_t& information, ucontext_t& context)
        : m_number(number), m_information(information), m_context(context)
    {}

    int number() const { return m_number; }
    ucontext_t& context() const { return m_context; }

    /// A register of the interrupted function, by its REG_ number.
    uint64_t value(int index) const
    {
        return static_cast<uint64_t>(m_context.uc_mcontext.gregs[index]);
    }

    /// False when a program sent it, with raise or kill.
    bool isFromHardware() const { return m_information.si_code > 0; }

    /// Whether the thread jumped to where no code is.
    bool isBadJump() const;

    /// Whether it came from the breakpoint instruction, which is complete then.
    bool isBreakpoint() const;

    /// Whether the unwinder itself faulted: the frames are destroyed, and another throw would fault
    /// there again.
    bool isInUnwinder() const;

    /// Whether the handler runs on another stack than the interrupted function, and that one has
    /// room for a throw and a report.
    bool canUseInterruptedStack() const;

    /// The code of the exception that stands for it; only for a signal from the hardware.
    unsigned int exceptionCode() const;

private:
    bool isTrap(greg_t kind) const { return m_context.uc_mcontext.gregs[REG_TRAPNO] == kind; }
    uint64_t address() const { return reinterpret_cast<uint64_t>(m_information.si_addr); }
    bool isStackOverflow() const;
    bool isPrivileged() const;

    int m_number;
    const siginfo_t& m_information;
    ucontext_t& m_context;
};

/// Asks the system whether the word at the address can be read. Safe in signal handlers; changes
/// errno.
bool isReadable(uint64_t address);

} // namespace faults
