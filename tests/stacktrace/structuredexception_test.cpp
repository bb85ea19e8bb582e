#include "stacktrace/structuredexception.h"

#include "stacktrace/faulthooks.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

struct row
{
    unsigned int code;
    const char* text;
};

const row rows[] = {
    {0xC0000005, "The thread attempts to read from or write to a virtual address for which it does "
                 "not have access. This value is defined as STATUS_ACCESS_VIOLATION."},
    {0xC000008C,
     "The thread attempts to access an array element that is out of bounds, and the underlying "
     "hardware supports bounds checking. This value is defined as STATUS_ARRAY_BOUNDS_EXCEEDED."},
    {0x80000003, "A breakpoint is encountered. This value is defined as STATUS_BREAKPOINT."},
    {0x80000002, "The thread attempts to read or write data that is misaligned on hardware that "
                 "does not provide alignment. For example, 16-bit values must be aligned on 2-byte "
                 "boundaries, 32-bit values on 4-byte boundaries, and so on. This value is defined "
                 "as STATUS_DATATYPE_MISALIGNMENT."},
    {0xC000008D, "One of the operands in a floating point operation is denormal. A denormal value "
                 "is one that is too small to represent as a standard floating point value. This "
                 "value is defined as STATUS_FLOAT_DENORMAL_OPERAND."},
    {0xC000008E, "The thread attempts to divide a floating point value by a floating point divisor "
                 "of 0 (zero). This value is defined as STATUS_FLOAT_DIVIDE_BY_ZERO."},
    {0xC000008F, "The result of a floating point operation cannot be represented exactly as a "
                 "decimal fraction. This value is defined as STATUS_FLOAT_INEXACT_RESULT."},
    {0xC0000090, "A floatin point exception that is not included in this list. This value is "
                 "defined as STATUS_FLOAT_INVALID_OPERATION."},
    {0xC0000091, "The exponent of a floating point operation is greater than the magnitude allowed "
                 "by the corresponding type. This value is defined as STATUS_FLOAT_OVERFLOW."},
    {0xC0000092, "The stack has overflowed or underflowed, because of a floating point operation. "
                 "This value is defined as STATUS_FLOAT_STACK_CHECK."},
    {0xC0000093, "The exponent of a floating point operation is less than the magnitude allowed by "
                 "the corresponding type. This value is defined as STATUS_FLOAT_UNDERFLOW."},
    {0x80000001, "The thread accessed memory allocated with the PAGE_GUARD modifier. This value is "
                 "defined as STATUS_GUARD_PAGE_VIOLATION."},
    {0xC000001D, "The thread tries to execute an invalid instruction. This value is defined as "
                 "STATUS_ILLEGAL_INSTRUCTION."},
    {0xC0000006,
     "The thread tries to access a page that is not present, and the system is unable to load the "
     "page. For example, this exception might occur if a network connection is lost while running "
     "a program over a network. This value is defined as STATUS_IN_PAGE_ERROR."},
    {0xC0000094, "The thread attempts to divide an integer value by an integer divisor of 0 "
                 "(zero). This value is defined as STATUS_INTEGER_DIVIDE_BY_ZERO."},
    {0xC0000095, "The result of an integer operation causes a carry out of the most significant "
                 "bit of the result. This value is defined as STATUS_INTEGER_OVERFLOW."},
    {0xC0000026, "An exception handler returns an invalid disposition to the exception dispatcher. "
                 "Programmers using a high-level language such as C should never encounter this "
                 "exception. This value is defined as STATUS_INVALID_DISPOSITION."},
    {0xC0000008, "The thread used a handle to a kernel object that was invalid (probably because "
                 "it had been closed.) This value is defined as STATUS_INVALID_HANDLE."},
    {0xC0000025, "The thread attempts to continue execution after a non-continuable exception "
                 "occurs. This value is defined as STATUS_NONCONTINUABLE_EXCEPTION."},
    {0xC0000096,
     "The thread attempts to execute an instruction with an operation that is not allowed in the "
     "current computer mode. This value is defined as STATUS_PRIVILEGED_INSTRUCTION."},
    {0x80000004, "A trace trap or other single instruction mechanism signals that one instruction "
                 "is executed. This value is defined as STATUS_SINGLE_STEP."},
    {0xC00000FD, "The thread uses up its stack. This value is defined as STATUS_STACK_OVERFLOW."},
};

template <class caught_t>
bool isCaughtAs()
{
    try {
        faults::throwStructuredException(0xC0000005);
    } catch (const caught_t&) {
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace

TEST_CASE("each of the 22 known codes has its explanation, misspelling included", "[stacktrace]")
{
    CHECK(std::size(rows) == 22);
    for (const row& each : rows) {
        CHECK(StructuredException::explain(each.code) == std::string(each.text));
    }
}

TEST_CASE("any other code has the general explanation", "[stacktrace]")
{
    for (const unsigned int code : {0U, 1U, 0x40001234U, 0xC0000007U, 0xFFFFFFFFU}) {
        CAPTURE(code);
        CHECK(StructuredException::explain(code) ==
              std::string("Structured exception translated to C++ exception."));
    }
}

TEST_CASE("a structured exception is caught by its bases and carries its explanation",
          "[stacktrace]")
{
    CHECK(isCaughtAs<StructuredException>());
    CHECK(isCaughtAs<std::exception>());
    CHECK(isCaughtAs<tolvane::nonassignable_::nonassignable>());
    try {
        faults::throwStructuredException(0x80000003);
    } catch (const std::exception& exception) {
        CHECK(exception.what() == StructuredException::explain(0x80000003));
    }
}

TEST_CASE("a copy of a structured exception has the same text", "[stacktrace]")
{
    const StructuredException original(StructuredException::explain(0x80000003));
    const StructuredException copied(original);

    CHECK(copied.what() == original.what());
}
