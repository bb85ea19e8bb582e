#include "stacktrace/posix/signalcodes.h"

#include <catch2/catch.hpp>

#include <signal.h>

#include <initializer_list>
#include <vector>

namespace {

bool isPrivileged(std::initializer_list<unsigned char> bytes)
{
    return faults::isPrivilegedInstruction(bytes.begin());
}

} // namespace

TEST_CASE("each signal of the hardware has the code of a structured exception", "[stacktrace]")
{
    struct Row
    {
        int number;
        int code;
        unsigned int expected;
    };
    const Row rows[] = {{SIGSEGV, SEGV_MAPERR, 0xC0000005},
                        {SIGSEGV, SEGV_ACCERR, 0xC0000005},
                        {SIGSEGV, SI_KERNEL, 0xC0000005},
                        {SIGBUS, BUS_ADRALN, 0x80000002},
                        {SIGBUS, BUS_ADRERR, 0xC0000006},
                        {SIGBUS, BUS_OBJERR, 0xC0000006},
                        {SIGBUS, SI_KERNEL, 0xC0000006},
                        {SIGFPE, FPE_INTDIV, 0xC0000094},
                        {SIGFPE, FPE_INTOVF, 0xC0000095},
                        {SIGFPE, FPE_FLTDIV, 0xC000008E},
                        {SIGFPE, FPE_FLTOVF, 0xC0000091},
                        {SIGFPE, FPE_FLTUND, 0xC0000093},
                        {SIGFPE, FPE_FLTRES, 0xC000008F},
                        {SIGFPE, FPE_FLTINV, 0xC0000090},
                        {SIGFPE, FPE_FLTSUB, 0xC000008C},
                        {SIGFPE, SI_KERNEL, 0xC0000090},
                        {SIGILL, ILL_ILLOPC, 0xC000001D},
                        {SIGILL, ILL_ILLOPN, 0xC000001D},
                        {SIGILL, ILL_PRVOPC, 0xC0000096},
                        {SIGILL, ILL_PRVREG, 0xC0000096},
                        {SIGTRAP, TRAP_BRKPT, 0x80000003},
                        {SIGTRAP, SI_KERNEL, 0x80000003},
                        {SIGTRAP, TRAP_TRACE, 0x80000004},
                        {SIGTRAP, TRAP_HWBKPT, 0x80000004},
                        {SIGTERM, SI_KERNEL, 0}};

    for (const Row& row : rows) {
        INFO("signal " << row.number << ", code " << row.code);
        CHECK(faults::exceptionCode({row.number, row.code, false, false}) == row.expected);
    }
}

TEST_CASE("a bad access may be a privileged instruction or the end of the stack", "[stacktrace]")
{
    CHECK(faults::exceptionCode({SIGSEGV, SI_KERNEL, true, false}) == 0xC0000096);
    CHECK(faults::exceptionCode({SIGSEGV, SEGV_ACCERR, false, true}) == 0xC00000FD);
    CHECK(faults::exceptionCode({SIGBUS, BUS_ADRERR, false, true}) == 0xC0000006);
}

TEST_CASE("instructions that only the system may execute are recognised", "[stacktrace]")
{
    CHECK(isPrivileged({0xF4}));                   // hlt
    CHECK(isPrivileged({0xFA}));                   // cli
    CHECK(isPrivileged({0xFB}));                   // sti
    CHECK(isPrivileged({0xE4, 0x10}));             // in al, 10h
    CHECK(isPrivileged({0xEE}));                   // out dx, al
    CHECK(isPrivileged({0xF3, 0x6C}));             // rep insb
    CHECK(isPrivileged({0x66, 0xED}));             // in ax, dx
    CHECK(isPrivileged({0x0F, 0x20, 0xC0}));       // mov rax, cr0
    CHECK(isPrivileged({0x41, 0x0F, 0x22, 0xC0})); // mov cr0, r8
    CHECK(isPrivileged({0x0F, 0x30}));             // wrmsr
    CHECK(isPrivileged({0x0F, 0x09}));             // wbinvd
    CHECK(isPrivileged({0x0F, 0x01, 0x10}));       // lgdt [rax]
    CHECK(isPrivileged({0x0F, 0x00, 0xD8}));       // ltr ax

    CHECK_FALSE(isPrivileged({0x8B, 0x00}));       // mov eax, [rax]
    CHECK_FALSE(isPrivileged({0x48, 0x8B, 0x00})); // mov rax, [rax]
    CHECK_FALSE(isPrivileged({0xC3}));             // ret
    CHECK_FALSE(isPrivileged({0xFF, 0xD0}));       // call rax
    CHECK_FALSE(isPrivileged({0x0F, 0x28, 0x00})); // movaps xmm0, [rax]
    CHECK_FALSE(isPrivileged({0x0F, 0x01, 0xD0})); // xgetbv
    CHECK_FALSE(isPrivileged({0x0F, 0x00, 0xC0})); // sldt eax
}
