#include "stacktrace/posix/arrivedsignal.h"

#include "stacktrace/posix/alternatestack.h"
#include "stacktrace/posix/signalcodes.h"
#include "stacktrace/posix/unwindermodule.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace faults {

namespace {

/// The least room below the stack pointer with which a throw and a report are left to the thread's
/// own stack.
const uint64_t roomForReport = 32UL * 1024;
/// How far from the stack pointer the access that overflows a stack can be: below it probes and
/// pushes, above it the locals of a frame that was just set up.
const uint64_t farthestProbe = 64UL * 1024;
const uint64_t largestFrame = 1024UL * 1024;
/// The smallest page of the system; no guard area is smaller.
const uint64_t smallestPage = 4096;

/// Numbers that the processor gives to its exceptions, and a bit of the reason of a page fault.
const greg_t breakpointTrap = 3;
const greg_t generalProtectionTrap = 13;
const greg_t pageFaultTrap = 14;
const uint64_t instructionFetchBit = 1 << 4;

/// Looks page by page: a guard area must not be stepped over.
bool hasRoomBelow(uint64_t stackPointer)
{
    for (uint64_t depth = 0; depth <= roomForReport; depth += smallestPage) {
        if (!isReadable(stackPointer - depth)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool ArrivedSignal::isBadJump() const
{
    const uint64_t target = value(REG_RIP);
    const bool fetch =
        isTrap(pageFaultTrap) && address() == target && (value(REG_ERR) & instructionFetchBit) != 0;
    // an address that no page can have comes without an address and without that bit
    const bool impossible = isTrap(generalProtectionTrap) && !isReadable(target);
    const bool isAccess = m_number == SIGSEGV || m_number == SIGBUS;
    return isFromHardware() && isAccess && (fetch || impossible);
}

bool ArrivedSignal::isBreakpoint() const
{
    return m_number == SIGTRAP && isFromHardware() && isTrap(breakpointTrap);
}

bool ArrivedSignal::isInUnwinder() const
{
    return unwinderModule().holds(value(REG_RIP));
}

bool ArrivedSignal::canUseInterruptedStack() const
{
    const bool isElsewhere = (m_context.uc_stack.ss_flags & (SS_DISABLE | SS_ONSTACK)) == 0;
    return isElsewhere && hasRoomBelow(value(REG_RSP));
}

unsigned int ArrivedSignal::exceptionCode() const
{
    return faults::exceptionCode(
        {m_number, m_information.si_code, isPrivileged(), isStackOverflow()});
}

bool ArrivedSignal::isStackOverflow() const
{
    const uint64_t stackPointer = value(REG_RSP);
    const bool isPageFault = m_number == SIGSEGV && isTrap(pageFaultTrap);
    const bool isNear =
        address() + farthestProbe >= stackPointer && address() < stackPointer + largestFrame;
    // a large frame may reach beyond the guard area, into memory of others
    const bool isBehindEnd = address() < stackEnd() && address() + largestFrame >= stackEnd();
    return isPageFault && isNear && (isBehindEnd || !hasRoomBelow(stackPointer));
}

/// The processor reports these like a bad address, without telling it.
bool ArrivedSignal::isPrivileged() const
{
    return m_number == SIGSEGV && isTrap(generalProtectionTrap) && !isBadJump() &&
           isPrivilegedInstruction(reinterpret_cast<const unsigned char*>(value(REG_RIP)));
}

bool isReadable(uint64_t address)
{
    const int noOperation = -1; // refused after the set was read, so nothing changes
    const std::size_t setSize = 8;
    return syscall(SYS_rt_sigprocmask, noOperation, address, nullptr, setSize) == 0 ||
           errno != EFAULT;
}

} // namespace faults
