#include "tests/stacktrace/faultchild.h"

#include <tolvane/scope.h>
#include <tolvane/stacktrace.h>

#include "tests/helpers/gate.h"
#include "tests/helpers/posix/brokenheap.h"
#include "tests/helpers/threadend.h"
#include "tests/stacktrace/faultraisers.h"
#include "trace/instancelock.h"
#include "trace/traceimpl.h"

#include <fenv.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <thread>

// Keeps what its caller left in the registers in the 128 bytes below the stack pointer, as leaf
// functions may, and faults.
extern "C" void faultWithRegistersBelowStack();
asm(R"(
    .text
    .type faultWithRegistersBelowStack, @function
faultWithRegistersBelowStack:
    .cfi_startproc
    movq %rbp, -8(%rsp)
    .cfi_offset %rbp, -16
    movq %rbx, -16(%rsp)
    .cfi_offset %rbx, -24
    movq %r12, -24(%rsp)
    .cfi_offset %r12, -32
    movq %r13, -112(%rsp)
    .cfi_offset %r13, -120
    movq %r14, -120(%rsp)
    .cfi_offset %r14, -128
    movq %r15, -128(%rsp)
    .cfi_offset %r15, -136
    xorl %ebp, %ebp
    xorl %ebx, %ebx
    xorl %r12d, %r12d
    xorl %r13d, %r13d
    xorl %r14d, %r14d
    xorl %r15d, %r15d
    movl (%rbx), %eax
    ud2
    .cfi_endproc
    .size faultWithRegistersBelowStack, . - faultWithRegistersBelowStack
)");

namespace {

void (*volatile fault)() = faultRaisers().front().raise;

bool isCaught(void (*raise)())
{
    void (*volatile opaque)() = raise;
    try {
        opaque();
    } catch (const std::exception&) {
        return true;
    }
    return false;
}

__attribute__((noinline)) bool keepsRegisters(long one, long two, long three, long four, long five,
                                              long six)
{
    const bool caught = isCaught(&faultWithRegistersBelowStack);
    return caught && one == 1 && two == 2 && three == 3 && four == 4 && five == 5 && six == 6;
}

void checkRegisters(const std::string&)
{
    volatile long one = 1;
    sayWhether(keepsRegisters(one, one + 1, one + 2, one + 3, one + 4, one + 5), "registers");
}

void checkThreadState(const std::string&)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    fesetround(FE_UPWARD);
    feenableexcept(FE_DIVBYZERO);

    const bool caught = isCaught(fault);

    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    sayWhether(caught && sigismember(&blocked, SIGUSR1) == 1 && sigismember(&blocked, SIGTERM) == 0,
               "signal mask");
    sayWhether(fegetround() == FE_UPWARD && fegetexcept() == FE_DIVBYZERO, "float settings");
}

/// Every fault in mid-expression leaves values on the x87 stack, which has eight places.
void checkFloatStack(const std::string&)
{
    const int moreThanPlaces = 12;
    bool intact = true;
    for (int round = 0; round < moreThanPlaces; ++round) {
        for (const faultraiser& raiser : faultRaisers()) {
            if (raiser.name == "divide-long") {
                intact = isCaught(raiser.raise) && intact;
                resetFaultSetup();
            }
        }
        volatile long double value = 3;
        value = value * value / 2;
        intact = intact && value == 4.5L;
    }
    sayWhether(intact, "x87 stack");
}

void checkLibraryFunctions(const std::string&)
{
    sayWhether(isCaught([] {
                   std::size_t (*volatile length)(const char*) = &std::strlen;
                   length(nullptr);
               }),
               "strlen");
    sayWhether(isCaught([] {
                   char source[100] = {};
                   void* (*volatile copy)(void*, const void*, std::size_t) = &std::memcpy;
                   copy(nullptr, source, sizeof source);
               }),
               "memcpy");
    sayWhether(isCaught([] {
                   int numbers[] = {3, 1, 2};
                   std::qsort(numbers, 3, sizeof(int), [](const void*, const void*) {
                       fault();
                       return 0;
                   });
               }),
               "callback of qsort");
}

/// The allocator looks at what should be in front of its block.
void giveBackNothing()
{
    void (*volatile giveBack)(void*) = &std::free;
    giveBack(reinterpret_cast<void*>(0x10000));
}

void checkAllocator(const std::string&)
{
    sayWhether(isCaught(giveBackNothing), "fault amid the allocator");
}

void faultInAllocator(const std::string&)
{
    giveBackNothing();
}

/// Another thread takes the dispatcher's instance lock, and waits for what a thread holds that
/// faults amid the allocator: it has the lock until the calling thread has ended.
void loseInstanceLock()
{
    gate isHeld;
    const threadend end;
    std::thread([&isHeld, end] {
        const instancelock lock(safesingleton<traceimpl>::instance().m_instanceMutex);
        isHeld.open();
        end.wait();
    }).detach();
    isHeld.wait();
}

void faultInAllocatorWithoutLock(const std::string&)
{
    loseInstanceLock();
    giveBackNothing();
}

void giveBackNothingNoexcept() noexcept
{
    giveBackNothing();
}

/// Ends the writer with its first line, amid the allocator.
class allocatorfaultsink : public tracestream
{
public:
    void log(const formattedline&) override
    {
        const threadend end;
        loseInstanceLock();
        writersEnd = end;
        isInside.open();
        giveBackNothingNoexcept();
    }

    unsigned long long id() const override { return 1; }
    allocatorfaultsink* clone() const override { return new allocatorfaultsink; }

    static inline gate isInside;
    static inline std::optional<threadend> writersEnd;
};

void endWriterInAllocator(const std::string&)
{
    trace::output(allocatorfaultsink()).setLevel(tl_error);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_error) << "ends the writer";
    allocatorfaultsink::isInside.wait();
    say("writer ended " + std::to_string(allocatorfaultsink::writersEnd->wait()));
    TOLVANE_LOG(log, tl_error) << "starts a new writer";
    sayWhether(trace::sync(10000), "new writer");
}

/// What the allocator has at hand is a little larger than the reserve, and handed out as it is:
/// what is left over would be too small. Each is kept apart from others that are free.
void leaveOddBlocks()
{
    constexpr std::size_t odd = 1032;
    constexpr int count = 20; // a few of which the allocator keeps for just that size
    void* blocks[count];
    void* volatile between[count];
    for (int i = 0; i < count; ++i) {
        blocks[i] = std::malloc(odd);
        between[i] = std::malloc(5000);
    }
    for (void* const block : blocks) {
        std::free(block);
    }
    static_cast<void>(between);
}

void faultBesideOddBlocks(const std::string&)
{
    std::thread([] {
        leaveOddBlocks();
        stacktrace::installHandlers();
        hardfault::faultUnderAllocatorsLock();
    }).join();
}

int useUpStack(int depth);
int (*volatile const goDeeper)(int) = useUpStack;

/// Most of the time, and of the stack, is the allocator's; blocks of this size need its lock.
int useUpStack(int depth)
{
    void* volatile first = std::malloc(5000);
    void* volatile second = std::malloc(20000);
    std::free(first);
    std::free(second);
    return goDeeper(depth + 1) + 1;
}

void overflowInAllocator(const std::string&)
{
    static_cast<void>(goDeeper(0));
}

struct FaultsOnDestruction
{
    explicit FaultsOnDestruction(int& target) : count(target) {}
    ~FaultsOnDestruction() { count += isCaught(fault) ? 1 : 0; }
    int& count;
};

void checkNestedFault(const std::string&)
{
    int inner = 0;
    bool outer = false;
    try {
        const FaultsOnDestruction object(inner);
        fault();
    } catch (const std::exception&) {
        outer = true;
    }
    sayWhether(outer && inner == 1, "fault while another unwinds");
}

struct CountsDestruction
{
    explicit CountsDestruction(std::atomic<int>& target) : count(target) {}
    ~CountsDestruction() { ++count; }
    std::atomic<int>& count;
};

std::atomic<int> destroyedInCancelled{0};

void* waitForCancellation(void*)
{
    const CountsDestruction object(destroyedInCancelled);
    for (;;) {
        pause();
    }
}

void* exitThread(void*)
{
    const CountsDestruction object(destroyedInCancelled);
    try {
        pthread_exit(&destroyedInCancelled);
    } catch (const std::exception&) {
        destroyedInCancelled = -1;
    }
    return nullptr;
}

void checkOtherUnwinding(const std::string&)
{
    pthread_t thread;
    void* result = nullptr;
    pthread_create(&thread, nullptr, &waitForCancellation, nullptr);
    pthread_cancel(thread);
    pthread_join(thread, &result);
    sayWhether(result == PTHREAD_CANCELED, "cancelled thread");
    const int before = destroyedInCancelled;
    pthread_create(&thread, nullptr, &exitThread, nullptr);
    pthread_join(thread, &result);
    sayWhether(result == &destroyedInCancelled && destroyedInCancelled == before + 1,
               "thread that exits");
}

/// A thread for which nothing was installed has no alternate stack: all happens on its own.
void checkUnpreparedThread(const std::string&)
{
    std::thread([] {
        sayWhether(isCaught(fault) && isCaught(fault), "thread without handlers of its own");
    }).join();
}

void checkSmallStack(const std::string&)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(PTHREAD_STACK_MIN) + 8192);
    pthread_t thread;
    pthread_create(
        &thread, &attributes,
        [](void*) -> void* {
            stacktrace::installHandlers();
            try {
                fault();
            } catch (const std::exception& exception) {
                say(std::string("caught ") + exception.what());
            }
            return nullptr;
        },
        nullptr);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

void checkOtherSignals(const std::string&)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_ONSTACK | SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> enough{false};
    const pthread_t self = pthread_self();
    std::thread sender([&enough, self] {
        while (!enough) {
            pthread_kill(self, SIGUSR1);
        }
    });
    const int rounds = 2000;
    int caught = 0;
    for (int round = 0; round < rounds; ++round) {
        caught += isCaught(fault) ? 1 : 0;
    }
    enough = true;
    sender.join();
    sayWhether(caught == rounds, "faults among other signals");
}

/// Nothing can be written where the stack pointer is: the handler itself faults there.
void faultOnReadOnlyStack(const std::string&)
{
    const std::size_t size = 1024 * 1024;
    void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    asm volatile("movq %0, %%rsp\n\t"
                 "movq %0, %%rbp\n\t"
                 "xorl %%eax, %%eax\n\t"
                 "movl (%%rax), %%eax"
                 :
                 : "r"(static_cast<char*>(memory) + size / 2)
                 : "rax", "memory");
}

void sendSignal(const std::string& number)
{
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), std::stoi(number));
}

} // namespace

faultcases platformFaultCases()
{
    return {{"registers", checkRegisters},
            {"thread-state", checkThreadState},
            {"float-stack", checkFloatStack},
            {"library-functions", checkLibraryFunctions},
            {"allocator", checkAllocator},
            {"in-allocator", faultInAllocator},
            {"in-allocator-without-lock", faultInAllocatorWithoutLock},
            {"writer-in-allocator", endWriterInAllocator},
            {"beside-odd-blocks", faultBesideOddBlocks},
            {"overflow-in-allocator", overflowInAllocator},
            {"nested", checkNestedFault},
            {"other-unwinding", checkOtherUnwinding},
            {"unprepared", checkUnpreparedThread},
            {"small-stack", checkSmallStack},
            {"other-signals", checkOtherSignals},
            {"read-only-stack", faultOnReadOnlyStack},
            {"send", sendSignal}};
}
