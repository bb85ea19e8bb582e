#include "stacktrace/posix/alternatestack.h"

#include <pthread.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace faults {

namespace {

/// Room for the unwinder and a report: a stack of the application's with so much is left in place.
const std::size_t leastSize = 64UL * 1024;

/// The same with all that sinks may do. Pages that were never used cost nothing.
const std::size_t usableSize = 256UL * 1024;

std::size_t pageSize()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t roundedToPages(std::size_t size)
{
    return (size + pageSize() - 1) / pageSize() * pageSize();
}

/// What the system itself puts on the stack for a signal; it grows with the processor's registers.
std::size_t signalFrameSize()
{
    return getauxval(AT_MINSIGSTKSZ);
}

__attribute__((tls_model("initial-exec"))) thread_local uint64_t knownStackEnd = 0;

/// Whether the guard area counts as part of the stack depends on the C library; nobody has anything
/// else there.
uint64_t findStackEnd()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return 0;
    }
    void* lowest = nullptr;
    std::size_t size = 0;
    std::size_t guard = 0;
    pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_getguardsize(&attributes, &guard);
    pthread_attr_destroy(&attributes);
    return reinterpret_cast<uint64_t>(lowest) + guard;
}

stack_t currentStack()
{
    stack_t stack = {};
    sigaltstack(nullptr, &stack);
    return stack;
}

} // namespace

AlternateStack::~AlternateStack()
{
    if (m_memory == nullptr) {
        return;
    }
    if (isArmed()) {
        stack_t previous = {};
        previous.ss_sp = m_previous;
        previous.ss_size = m_previousSize;
        previous.ss_flags = m_previousSize == 0 ? SS_DISABLE : 0;
        if (sigaltstack(&previous, nullptr) != 0) {
            return; // the thread runs on this very stack: its memory stays
        }
    }
    munmap(m_memory, m_size);
    m_memory = nullptr;
}

void AlternateStack::arm()
{
    const stack_t present = currentStack();
    const bool enabled = (present.ss_flags & SS_DISABLE) == 0;
    if ((enabled && present.ss_size >= leastSize) || !allocate()) {
        return;
    }
    stack_t mine = {};
    mine.ss_sp = static_cast<char*>(m_memory) + pageSize();
    mine.ss_size = m_size - pageSize();
    if (sigaltstack(&mine, nullptr) == 0) {
        m_previous = enabled ? present.ss_sp : nullptr;
        m_previousSize = enabled ? present.ss_size : 0;
    }
}

bool AlternateStack::allocate()
{
    if (m_memory != nullptr) {
        return true;
    }
    const std::size_t size = pageSize() + roundedToPages(usableSize + signalFrameSize());
    void* memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    mprotect(memory, pageSize(),
             PROT_NONE); // without it an overflow of this stack would write elsewhere
    m_memory = memory;
    m_size = size;
    return true;
}

bool AlternateStack::isArmed() const
{
    return currentStack().ss_sp == static_cast<char*>(m_memory) + pageSize();
}

uint64_t stackEnd() noexcept
{
    return knownStackEnd;
}

void armAlternateStack()
{
    if (knownStackEnd == 0 && syscall(SYS_gettid) != getpid()) {
        knownStackEnd = findStackEnd();
    }
    static thread_local AlternateStack stack;
    stack.arm();
}

} // namespace faults
