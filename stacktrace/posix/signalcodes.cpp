#include "stacktrace/posix/signalcodes.h"

#include <signal.h>

namespace faults {

namespace {

const unsigned int datatypeMisalignment = 0x80000002;
const unsigned int breakpoint = 0x80000003;
const unsigned int singleStep = 0x80000004;
const unsigned int accessViolation = 0xC0000005;
const unsigned int inPageError = 0xC0000006;
const unsigned int illegalInstruction = 0xC000001D;
const unsigned int arrayBoundsExceeded = 0xC000008C;
const unsigned int floatDivideByZero = 0xC000008E;
const unsigned int floatInexactResult = 0xC000008F;
const unsigned int floatInvalidOperation = 0xC0000090;
const unsigned int floatOverflow = 0xC0000091;
const unsigned int floatUnderflow = 0xC0000093;
const unsigned int integerDivideByZero = 0xC0000094;
const unsigned int integerOverflow = 0xC0000095;
const unsigned int privilegedInstruction = 0xC0000096;
const unsigned int stackOverflow = 0xC00000FD;

unsigned int arithmeticCode(int code)
{
    switch (code) {
    case FPE_INTDIV:
        return integerDivideByZero;
    case FPE_INTOVF:
        return integerOverflow;
    case FPE_FLTDIV:
        return floatDivideByZero;
    case FPE_FLTOVF:
        return floatOverflow;
    case FPE_FLTUND:
        return floatUnderflow;
    case FPE_FLTRES:
        return floatInexactResult;
    case FPE_FLTSUB:
        return arrayBoundsExceeded;
    default:
        return floatInvalidOperation; // its text: an exception that is not included in the list
    }
}

unsigned int accessCode(const HardwareSignal& signal)
{
    if (signal.stackOverflow) {
        return stackOverflow;
    }
    return signal.privilegedInstruction ? privilegedInstruction : accessViolation;
}

unsigned int instructionCode(const HardwareSignal& signal)
{
    const bool privileged = signal.code == ILL_PRVOPC || signal.code == ILL_PRVREG;
    return privileged || signal.privilegedInstruction ? privilegedInstruction : illegalInstruction;
}

unsigned int trapCode(int code)
{
    // The int3 instruction arrives with SI_KERNEL, a traced or watched instruction with a code of
    // its own.
    const bool traced = code == TRAP_TRACE || code == TRAP_BRANCH || code == TRAP_HWBKPT;
    return traced ? singleStep : breakpoint;
}

bool isPrefix(unsigned char byte)
{
    const bool rex = (byte & 0xF0) == 0x40;
    return rex || byte == 0x66 || byte == 0x67 || byte == 0xF2 || byte == 0xF3;
}

/// Opcodes of the first table: in and out with their string forms, hlt, cli, sti.
bool isPrivilegedOpcode(unsigned char opcode)
{
    const bool portString = opcode >= 0x6C && opcode <= 0x6F;
    const bool portImmediate = opcode >= 0xE4 && opcode <= 0xE7;
    const bool portRegister = opcode >= 0xEC && opcode <= 0xEF;
    return portString || portImmediate || portRegister || opcode == 0xF4 || opcode == 0xFA ||
           opcode == 0xFB;
}

/// Opcodes behind 0F: clts, sysret, invd, wbinvd, moves to and from control and debug registers,
/// wrmsr, rdmsr, rdpmc, sysexit; of the groups 00 and 01 what loads a descriptor or machine
/// register.
bool isPrivilegedSecondOpcode(const unsigned char* opcode)
{
    switch (opcode[0]) {
    case 0x00: {
        const int extension = opcode[1] >> 3 & 7;
        return extension == 2 || extension == 3; // lldt, ltr
    }
    case 0x01: {
        const int extension = opcode[1] >> 3 & 7;
        const bool memory = opcode[1] >> 6 != 3;
        return extension == 6 || (memory && (extension == 2 || extension == 3 ||
                                             extension == 7)); // lmsw; lgdt, lidt, invlpg
    }
    case 0x06:
    case 0x07:
    case 0x08:
    case 0x09:
    case 0x20:
    case 0x21:
    case 0x22:
    case 0x23:
    case 0x30:
    case 0x32:
    case 0x33:
    case 0x35:
        return true;
    default:
        return false;
    }
}

} // namespace

unsigned int exceptionCode(const HardwareSignal& signal)
{
    switch (signal.number) {
    case SIGSEGV:
        return accessCode(signal);
    case SIGBUS:
        return signal.code == BUS_ADRALN ? datatypeMisalignment : inPageError;
    case SIGFPE:
        return arithmeticCode(signal.code);
    case SIGILL:
        return instructionCode(signal);
    case SIGTRAP:
        return trapCode(signal.code);
    default:
        return 0;
    }
}

bool isPrivilegedInstruction(const unsigned char* instruction)
{
    while (isPrefix(*instruction)) {
        ++instruction;
    }
    const unsigned char secondTable = 0x0F;
    return *instruction == secondTable ? isPrivilegedSecondOpcode(instruction + 1)
                                       : isPrivilegedOpcode(*instruction);
}

} // namespace faults
