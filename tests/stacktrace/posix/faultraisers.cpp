#include "tests/stacktrace/faultraisers.h"

#include <fenv.h>
#include <sys/mman.h>

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// These faults are made on purpose, which the sanitizers would report.
#define UNCHECKED __attribute__((noinline, no_sanitize("address", "undefined", "thread")))

// The address behind the breakpoint belongs to no function.
extern "C" void endsWithBreakpoint();
asm(R"(
    .text
    .type endsWithBreakpoint, @function
endsWithBreakpoint:
    .cfi_startproc
    int3
    .cfi_endproc
    .size endsWithBreakpoint, . - endsWithBreakpoint
    ud2
)");

namespace {

volatile int zero = 0;
volatile double one = 1.0;
volatile double zeroDouble = 0.0;
volatile int* volatile nowhere = nullptr;
/// No page can have this address, so the processor reports it in a way of its own.
const uint64_t impossibleAddress = 0x1234567812345678;

using Code = void (*)();

UNCHECKED void readNull()
{
    static_cast<void>(*nowhere);
}

UNCHECKED void writeNull()
{
    *nowhere = 1;
}

UNCHECKED void readImpossible()
{
    static_cast<void>(*reinterpret_cast<volatile int*>(impossibleAddress));
}

UNCHECKED void call(uint64_t address)
{
    volatile Code code = reinterpret_cast<Code>(address);
    code();
    static_cast<void>(*&zero); // no tail call: there is a frame to return to
}

UNCHECKED void executeNull()
{
    call(0);
}

UNCHECKED void executeData()
{
    static unsigned char data[16];
    call(reinterpret_cast<uint64_t>(data));
}

UNCHECKED void executeImpossible()
{
    call(impossibleAddress);
}

UNCHECKED void divideInteger()
{
    volatile int result = 100 / zero;
    static_cast<void>(result);
}

UNCHECKED void divideFloat()
{
    feenableexcept(FE_DIVBYZERO);
    volatile double result = one / zeroDouble;
    static_cast<void>(result);
}

UNCHECKED void divideLong()
{
    feenableexcept(FE_DIVBYZERO);
    volatile long double result =
        static_cast<long double>(one) / static_cast<long double>(zeroDouble);
    result = result + 1;
}

UNCHECKED void overflowFloat()
{
    feenableexcept(FE_OVERFLOW);
    volatile double large = DBL_MAX;
    large = large * large;
}

UNCHECKED void underflowFloat()
{
    feenableexcept(FE_UNDERFLOW);
    volatile double small = DBL_MIN;
    small = small * small;
}

UNCHECKED void inexactFloat()
{
    feenableexcept(FE_INEXACT);
    volatile double third = 3.0;
    third = one / third;
}

UNCHECKED void invalidFloat()
{
    feenableexcept(FE_INVALID);
    volatile double result = zeroDouble / zeroDouble;
    static_cast<void>(result);
}

UNCHECKED void illegalInstruction()
{
    asm volatile("ud2");
}

UNCHECKED void haltProcessor()
{
    asm volatile("hlt");
}

UNCHECKED void clearInterrupts()
{
    asm volatile("cli");
}

UNCHECKED void readPort()
{
    asm volatile("inb %%dx, %%al" : : "d"(0) : "al");
}

UNCHECKED void readControlRegister()
{
    asm volatile("movq %%cr0, %%rax" : : : "rax");
}

UNCHECKED void breakpoint()
{
    asm volatile("int3");
}

/// Sets flags of the processor, outside the bytes below the stack pointer that belong to the
/// function.
#define SET_FLAGS(bits)           \
    "leaq -128(%%rsp), %%rsp\n\t" \
    "pushfq\n\t"                  \
    "orq $" bits ", (%%rsp)\n\t"  \
    "popfq\n\t"                   \
    "leaq 128(%%rsp), %%rsp\n\t"

UNCHECKED void breakpointAtEnd()
{
    endsWithBreakpoint();
    static_cast<void>(*&zero);
}

UNCHECKED void singleStep()
{
    asm volatile(SET_FLAGS("0x100") "nop" : : : "cc", "memory");
}

UNCHECKED void readMisaligned()
{
    static volatile int numbers[2];
    const char* middle = reinterpret_cast<const char*>(const_cast<const int*>(numbers)) + 1;
    asm volatile(SET_FLAGS("0x40000") "movl (%0), %%eax" : : "r"(middle) : "eax", "cc", "memory");
}

UNCHECKED void readBehindFile()
{
    FILE* empty = tmpfile();
    const size_t size = 4096;
    void* page = mmap(nullptr, size, PROT_READ, MAP_SHARED, fileno(empty), 0);
    fclose(empty);
    static_cast<void>(*static_cast<volatile char*>(page));
}

constexpr size_t pageSize = 4096;

/// Makes a page of a local array read-only for a while.
struct ProtectedPage
{
    explicit ProtectedPage(char* start) : page(start) { mprotect(page, pageSize, PROT_READ); }
    ~ProtectedPage() { mprotect(page, pageSize, PROT_READ | PROT_WRITE); }
    char* page;
};

UNCHECKED void writeByte(volatile char* at)
{
    *at = 1;
}

/// Close to the stack pointer, but no overflow.
UNCHECKED void writeProtectedLocal()
{
    alignas(pageSize) char local[3 * pageSize];
    const ProtectedPage protection(local + pageSize);
    void (*volatile write)(volatile char*) = &writeByte;
    write(local + pageSize);
}

/// Recursion with frames of the given size, of which only the end is touched before the next call.
template <size_t Size>
UNCHECKED int useUpStack(volatile char* outer)
{
    volatile char local[Size];
    local[Size - 1] = outer[0];
    return zero == 0 ? useUpStack<Size>(local) + local[Size - 1] : 0;
}

template <size_t Size>
UNCHECKED void overflowStack()
{
    volatile char start[1] = {0};
    useUpStack<Size>(start);
}

UNCHECKED void smashReturnAddress()
{
    void** frame = static_cast<void**>(__builtin_frame_address(0));
    for (size_t i = 0; i < 8; ++i) {
        reinterpret_cast<volatile uint64_t*>(frame)[i] = impossibleAddress;
    }
    static_cast<void>(*nowhere);
}

UNCHECKED void faultWithoutFrameInformation()
{
    const size_t size = 4096;
    void* page =
        mmap(nullptr, size, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const unsigned char illegal[] = {0x0F, 0x0B};
    std::memcpy(page, illegal, sizeof illegal);
    call(reinterpret_cast<uint64_t>(page));
}

UNCHECKED void jumpWithBadStack()
{
    asm volatile("movq $16, %%rsp\n\tjmp *%%rax" : : "a"(0) : "memory");
}

} // namespace

const std::vector<faultraiser>& faultRaisers()
{
    static const std::vector<faultraiser> raisers = {
        {"read", "STATUS_ACCESS_VIOLATION.", &readNull, false},
        {"write", "STATUS_ACCESS_VIOLATION.", &writeNull, false},
        {"read-impossible", "STATUS_ACCESS_VIOLATION.", &readImpossible, false},
        {"execute-null", "STATUS_ACCESS_VIOLATION.", &executeNull, false},
        {"execute-data", "STATUS_ACCESS_VIOLATION.", &executeData, false},
        {"execute-impossible", "STATUS_ACCESS_VIOLATION.", &executeImpossible, false},
        {"divide-integer", "STATUS_INTEGER_DIVIDE_BY_ZERO.", &divideInteger, false},
        {"divide-float", "STATUS_FLOAT_DIVIDE_BY_ZERO.", &divideFloat, false},
        {"divide-long", "STATUS_FLOAT_DIVIDE_BY_ZERO.", &divideLong, false},
        {"overflow-float", "STATUS_FLOAT_OVERFLOW.", &overflowFloat, false},
        {"underflow-float", "STATUS_FLOAT_UNDERFLOW.", &underflowFloat, false},
        {"inexact-float", "STATUS_FLOAT_INEXACT_RESULT.", &inexactFloat, false},
        {"invalid-float", "STATUS_FLOAT_INVALID_OPERATION.", &invalidFloat, false},
        {"illegal", "STATUS_ILLEGAL_INSTRUCTION.", &illegalInstruction, false},
        {"halt", "STATUS_PRIVILEGED_INSTRUCTION.", &haltProcessor, false},
        {"clear-interrupts", "STATUS_PRIVILEGED_INSTRUCTION.", &clearInterrupts, false},
        {"read-port", "STATUS_PRIVILEGED_INSTRUCTION.", &readPort, false},
        {"read-control", "STATUS_PRIVILEGED_INSTRUCTION.", &readControlRegister, false},
        {"breakpoint", "STATUS_BREAKPOINT.", &breakpoint, false},
        {"breakpoint-at-end", "STATUS_BREAKPOINT.", &breakpointAtEnd, false},
        {"single-step", "STATUS_SINGLE_STEP.", &singleStep, false},
        {"misaligned", "STATUS_DATATYPE_MISALIGNMENT.", &readMisaligned, false},
        {"protected-local", "STATUS_ACCESS_VIOLATION.", &writeProtectedLocal, false},
        {"behind-file", "STATUS_IN_PAGE_ERROR.", &readBehindFile, false},
        {"overflow-small", "STATUS_STACK_OVERFLOW.", &overflowStack<16>, true},
        {"overflow-page", "STATUS_STACK_OVERFLOW.", &overflowStack<4096>, true},
        {"overflow-large", "STATUS_STACK_OVERFLOW.", &overflowStack<200000>, true},
    };
    return raisers;
}

const std::vector<faultraiser>& uncatchableFaults()
{
    static const std::vector<faultraiser> raisers = {
        {"smashed", "", &smashReturnAddress, false},
        {"no-frame-information", "", &faultWithoutFrameInformation, false},
        {"bad-stack", "", &jumpWithBadStack, false},
    };
    return raisers;
}

void resetFaultSetup()
{
    fedisableexcept(FE_ALL_EXCEPT);
}
