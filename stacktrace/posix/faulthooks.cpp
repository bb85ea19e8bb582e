#include "stacktrace/faulthooks.h"

#include <tolvane/export.h>

#include "stacktrace/posix/allocatorfault.h"
#include "stacktrace/posix/alternatestack.h"
#include "stacktrace/posix/arrivedsignal.h"
#include "stacktrace/posix/sanitizer.h"
#include "stacktrace/posix/threadend.h"
#include "stacktrace/posix/trampoline.h"
#include "stacktrace/posix/unwindermodule.h"

#include <dlfcn.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <x86intrin.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>

// How a hardware fault becomes an exception: the handler of the signal does not throw. It notes the
// interrupted registers in an InterruptedFrame, changes the context to which the system returns,
// and returns. The thread then goes on in the trampoline, outside any handler, with its own signal
// mask and floating-point settings, and throws from there. Signals that were sent take the same way
// to their report, so that it is written on the thread's own stack where that has room.

/// For what touches the stacks of others, or must not be moved to a stack of a sanitizer's own.
#define UNCHECKED_MEMORY __attribute__((no_sanitize("address")))

namespace faults {

namespace {

static_assert(offsetof(InterruptedFrame, argument) == 136 &&
                  offsetof(InterruptedFrame, action) == 144,
              "trampoline.S has these offsets");

const int handledSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

/// Bytes below the stack pointer that belong to the interrupted function, by the calling
/// convention.
const uint64_t redZone = 128;

/// Bits of the processor's flags and of its floating-point status.
const greg_t trapFlag = 1 << 8;
const greg_t directionFlag = 1 << 10;
const greg_t alignmentCheckFlag = 1 << 18;
const unsigned int floatStatusBits = 0x3F;

std::atomic<ThreadEndObserver> threadEndObserver{nullptr};

void throwAction(uint64_t code)
{
    if (isWithinAllocator()) {
        releaseExceptionReserve();
        throwAllocatorFault(static_cast<unsigned int>(code));
    }
    throwStructuredException(static_cast<unsigned int>(code));
}

void signalAction(uint64_t number)
{
    onSignal(static_cast<int>(number));
}

void terminateAction(uint64_t code)
{
    terminateFor(static_cast<unsigned int>(code));
}

void copyRegisters(const ArrivedSignal& signal, InterruptedFrame& frame)
{
    const int sources[InterruptedFrame::registerCount] = {
        REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI, REG_RBP, REG_RSP, REG_R8,
        REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    for (int i = 0; i < InterruptedFrame::registerCount; ++i) {
        frame.registers[i] = signal.value(sources[i]);
    }
}

UNCHECKED_MEMORY uint64_t wordAt(uint64_t address)
{
    return *reinterpret_cast<const uint64_t*>(address);
}

/// Makes the interrupted address one that unwinding can start from.
void correctAddress(const ArrivedSignal& signal, InterruptedFrame& frame)
{
    uint64_t& stackPointer = frame.registers[InterruptedFrame::rsp];
    uint64_t& address = frame.registers[InterruptedFrame::rip];
    if (signal.isBadJump() && isReadable(stackPointer)) {
        address = wordAt(stackPointer) - 1; // within the call that led there
        stackPointer += sizeof(uint64_t);
    } else if (signal.isBreakpoint()) {
        --address; // the next instruction may belong to another function
    }
}

void chooseAction(const ArrivedSignal& signal, InterruptedFrame& frame)
{
    if (!signal.isFromHardware()) {
        frame.action = &signalAction;
        frame.argument = static_cast<uint64_t>(signal.number());
    } else {
        frame.action = signal.isInUnwinder() ? &terminateAction : &throwAction;
        frame.argument = signal.exceptionCode();
    }
}

/// Where a frame can lie on the interrupted stack.
InterruptedFrame* placeBelow(uint64_t stackPointer)
{
    const uint64_t alignment = alignof(InterruptedFrame);
    const uint64_t place = stackPointer - redZone - sizeof(InterruptedFrame);
    return reinterpret_cast<InterruptedFrame*>(place & ~(alignment - 1));
}

/// Makes the processor's state one that compiled code expects at a call.
void resetFlags(const ArrivedSignal& signal)
{
    mcontext_t& machine = signal.context().uc_mcontext;
    machine.gregs[REG_EFL] &= ~(trapFlag | directionFlag | alignmentCheckFlag);
    if (machine.fpregs == nullptr) {
        return;
    }
    machine.fpregs->ftw = 0; // empties the x87 stack, which a fault amid an expression leaves full
    if (signal.number() == SIGFPE) {
        machine.fpregs->swd = 0; // a status left set would fault again at the next x87 instruction
        machine.fpregs->mxcsr &= ~floatStatusBits;
    }
}

void continueOn(InterruptedFrame& frame, const ArrivedSignal& signal)
{
    mcontext_t& machine = signal.context().uc_mcontext;
    machine.gregs[REG_RSP] = reinterpret_cast<greg_t>(&frame);
    machine.gregs[REG_RIP] = reinterpret_cast<greg_t>(&tolvane_faults_trampoline);
}

UNCHECKED_MEMORY void handleSignal(int number, siginfo_t* information, void* context)
{
    // the system leaves this flag as it was, and this code makes accesses that it forbids
    __writeeflags(__readeflags() & ~static_cast<unsigned long long>(alignmentCheckFlag));
    const int interruptedErrno = errno;
    const ArrivedSignal signal(number, *information, *static_cast<ucontext_t*>(context));

    if (isUnderSanitizer()) {
        keepForSanitizer(number, *information, signal.context());
    }
    InterruptedFrame frame;
    copyRegisters(signal, frame);
    correctAddress(signal, frame);
    chooseAction(signal, frame);

    // With no room there the frame stays here: after the return this memory is free, and the new
    // stack pointer protects it. Until then no signal can overwrite it, as all others are blocked.
    InterruptedFrame* place = &frame;
    if (signal.canUseInterruptedStack()) {
        place = placeBelow(signal.value(REG_RSP));
        *place = frame;
    }
    resetFlags(signal);
    continueOn(*place, signal);
    errno = interruptedErrno;
    asm volatile("" : : "r"(place) : "memory"); // the frame is read later: no write to it is dead
}

struct sigaction installHandler(int number)
{
    struct sigaction action = {};
    action.sa_sigaction = &handleSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigfillset(&action.sa_mask);
    for (const int handled : handledSignals) {
        sigdelset(&action.sa_mask, handled); // a fault within the handler would end the process
    }
    struct sigaction replaced = {};
    sigaction(number, &action, &replaced);
    return replaced;
}

/// Handlers of the whole process.
struct Handlers
{
    struct sigaction ofSignals[std::size(handledSignals)];
    std::terminate_handler terminate;
};

/// \return what was there.
Handlers install()
{
    Handlers replaced = {};
    std::transform(std::begin(handledSignals), std::end(handledSignals), replaced.ofSignals,
                   installHandler);
    replaced.terminate = std::set_terminate(&onTerminate);
    return replaced;
}

/// What was there before the library was loaded: known from the first call on.
const Handlers& original()
{
    static const Handlers found = install();
    return found;
}

bool isInstalled(int number)
{
    struct sigaction present = {};
    sigaction(number, nullptr, &present);
    return (present.sa_flags & SA_SIGINFO) != 0 && present.sa_sigaction == &handleSignal;
}

std::atomic<bool> isPureCallReported{false};

void tellEnd(unsigned int code) noexcept
{
    if (const ThreadEndObserver observer = threadEndObserver) {
        observer(code);
    }
}

} // namespace

void installHooks() noexcept
{
    prepareThread();
    unwinderModule();
    isUnderSanitizer();
    original();
    install();
    isPureCallReported = true;
}

void uninstallHooks() noexcept
{
    for (std::size_t i = 0; i < std::size(handledSignals); ++i) {
        if (isInstalled(handledSignals[i])) {
            sigaction(handledSignals[i], &original().ofSignals[i], nullptr);
        }
    }
    if (std::get_terminate() == &onTerminate) {
        std::set_terminate(original().terminate);
    }
    isPureCallReported = false;
}

void prepareThread() noexcept
{
    armAlternateStack();
    keepExceptionReserve();
}

void giveToOthers() noexcept
{
    siginfo_t information = {};
    ucontext_t context = {};
    const int number = isUnderSanitizer() ? takeForSanitizer(information, context) : 0;
    const auto* const signal =
        std::find(std::begin(handledSignals), std::end(handledSignals), number);
    if (signal == std::end(handledSignals)) {
        return;
    }
    const struct sigaction& handler = original().ofSignals[signal - std::begin(handledSignals)];
    if ((handler.sa_flags & SA_SIGINFO) != 0) {
        handler.sa_sigaction(number, &information, &context);
    }
}

void endThread(unsigned int code) noexcept
{
    const bool isMainThread = syscall(SYS_gettid) == getpid();
    if (!isMainThread) {
        tellEnd(code);
        tolvane_faults_leave(reinterpret_cast<void*>(static_cast<uintptr_t>(code)));
    }
    // The bare system call: pthread_exit on the last thread ends the process as if all had gone
    // well. On other threads the call would leave to the next user of the stack what the thread
    // had stored for its keys, and the memory of a detached thread to nobody.
    endThreadAtOnce(code);
}

void endThreadAtOnce(unsigned int code) noexcept
{
    tellEnd(code);
    for (;;) {
        syscall(SYS_exit, code);
    }
}

void pinModule() noexcept
{
    Dl_info self = {};
    if (dladdr(reinterpret_cast<const void*>(&pinModule), &self) != 0) {
        // never closed; a program that the library is linked into can't be opened nor unloaded
        dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
}

void observeThreadEnd(ThreadEndObserver observer)
{
    threadEndObserver = observer;
}

} // namespace faults

/// What a slot of a pure virtual function holds. Programs that link the library find this one
/// before that of the runtime library.
extern "C" [[noreturn]] TOLVANE_EXPORT void __cxa_pure_virtual()
{
    if (faults::isPureCallReported) {
        faults::onPureCall();
    }
    if (void* const ofRuntime = dlsym(RTLD_NEXT, "__cxa_pure_virtual")) {
        reinterpret_cast<void (*)()>(ofRuntime)();
    }
    faults::onUnreportedPureCall();
}
