#include "stacktrace/structuredexception.h"

#include "stacktrace/faulthooks.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

struct row
{
    unsigned int code;
    const char* start;
    const char* name;
};

const row rows[] = {
    {0xC0000005, "The thread attempts to read from or write to a virtual address",
     "STATUS_ACCESS_VIOLATION"},
    {0xC000008C, "The thread attempts to access an array element", "STATUS_ARRAY_BOUNDS_EXCEEDED"},
    {0x80000003, "A breakpoint is encountered.", "STATUS_BREAKPOINT"},
    {0x80000002, "The thread attempts to read or write data that is misaligned",
     "STATUS_DATATYPE_MISALIGNMENT"},
    {0xC000008D, "One of the operands in a floating point operation is denormal.",
     "STATUS_FLOAT_DENORMAL_OPERAND"},
    {0xC000008E, "The thread attempts to divide a floating point value",
     "STATUS_FLOAT_DIVIDE_BY_ZERO"},
    {0xC000008F, "The result of a floating point operation cannot", "STATUS_FLOAT_INEXACT_RESULT"},
    {0xC0000090, "A floatin point exception that is not included",
     "STATUS_FLOAT_INVALID_OPERATION"},
    {0xC0000091, "The exponent of a floating point operation is greater", "STATUS_FLOAT_OVERFLOW"},
    {0xC0000092, "The stack has overflowed or underflowed", "STATUS_FLOAT_STACK_CHECK"},
    {0xC0000093, "The exponent of a floating point operation is less", "STATUS_FLOAT_UNDERFLOW"},
    {0x80000001, "The thread accessed memory allocated with the PAGE_GUARD",
     "STATUS_GUARD_PAGE_VIOLATION"},
    {0xC000001D, "The thread tries to execute an invalid instruction.",
     "STATUS_ILLEGAL_INSTRUCTION"},
    {0xC0000006, "The thread tries to access a page that is not present", "STATUS_IN_PAGE_ERROR"},
    {0xC0000094, "The thread attempts to divide an integer value", "STATUS_INTEGER_DIVIDE_BY_ZERO"},
    {0xC0000095, "The result of an integer operation causes a carry", "STATUS_INTEGER_OVERFLOW"},
    {0xC0000026, "An exception handler returns an invalid disposition",
     "STATUS_INVALID_DISPOSITION"},
    {0xC0000008, "The thread used a handle to a kernel object that was invalid",
     "STATUS_INVALID_HANDLE"},
    {0xC0000025, "The thread attempts to continue execution", "STATUS_NONCONTINUABLE_EXCEPTION"},
    {0xC0000096, "The thread attempts to execute an instruction", "STATUS_PRIVILEGED_INSTRUCTION"},
    {0x80000004, "A trace trap or other single instruction mechanism", "STATUS_SINGLE_STEP"},
    {0xC00000FD, "The thread uses up its stack.", "STATUS_STACK_OVERFLOW"},
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

TEST_CASE("each of the 22 known codes has its explanation", "[stacktrace]")
{
    CHECK(std::size(rows) == 22);
    for (const row& each : rows) {
        CAPTURE(each.name);
        const std::string text = StructuredException::explain(each.code);
        const std::string end = std::string(" This value is defined as ") + each.name + ".";

        CHECK(text.find(each.start) == 0);
        REQUIRE(text.size() > end.size());
        CHECK(text.substr(text.size() - end.size()) == end);
    }
}

TEST_CASE("the explanations stand as they were written", "[stacktrace]")
{
    CHECK(StructuredException::explain(0xC0000005) ==
          std::string("The thread attempts to read from or write to a virtual address for which it "
                      "does not have "
                      "access. This value is defined as STATUS_ACCESS_VIOLATION."));
    CHECK(StructuredException::explain(0xC0000008) ==
          std::string("The thread used a handle to a kernel object that was invalid (probably "
                      "because it had been "
                      "closed.) This value is defined as STATUS_INVALID_HANDLE."));
    CHECK(
        StructuredException::explain(0xC0000090) ==
        std::string(
            "A floatin point exception that is not included in this list. This value is defined as "
            "STATUS_FLOAT_INVALID_OPERATION."));
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
