#include "stacktrace/faulthooks.h"

#include <tolvane/stacktrace.h>
#include <tolvane/string.h>

#include "stacktrace/barereport.h"
#include "stacktrace/structuredexception.h"
#include "stacktrace/uncaught.h"
#include "support/standarderror.h"
#include "trace/traceimpl.h"

#include <exception>
#include <new>
#include <sstream>

namespace faults {

namespace {

// Exit codes of threads that the library ends; signals end theirs with the signal's number.
constexpr unsigned int pureCallExitCode = 1000;
constexpr unsigned int terminateExitCode = 1001;

/// A report that fails must not bring its own terminate handler on.
/// \param inShort   the message where there is no memory for another.
/// \param describe  makes the message.
template <class describe_t>
void report(const char* inShort, const describe_t& describe) noexcept
{
    try {
        stacktrace::FaultHandler(describe());
    } catch (const std::bad_alloc&) {
        barereport::write(inShort);
    } catch (...) {
        // a sink's fault: the report is written as far as it can be
    }
}

/// Whether the exception that is being handled, if there is one, is of that class.
template <class exception_t>
bool isHandling() noexcept
{
    if (!std::current_exception()) {
        return false;
    }
    try {
        throw;
    } catch (const exception_t&) {
        return true;
    } catch (...) {
        return false;
    }
}

/// The details overwrite the text that stands in for them; they are never shorter.
tolvane::string describeParameter(const wchar_t* expression, const wchar_t* function,
                                  const wchar_t* file, unsigned int line)
{
    std::wstringstream text(L"Invalid CRT Parameter");
    if (expression && function && file) {
        text << L": " << expression << L" in " << function << L" in file: " << file << L" at "
             << line;
    }
    return text.str().c_str();
}

[[noreturn]] void end(unsigned int code) noexcept
{
    traceimpl::threadFaults(code, false);
    endThread(code);
}

} // namespace

void onTerminate() noexcept
{
    const char* const message = "Unhandled Exception";
    sayUncaught();
    if (isHandling<AllocatorFault>()) {
        barereport::write(message);
        giveToOthers();
        traceimpl::threadFaults(terminateExitCode, true);
        endThreadAtOnce(terminateExitCode);
    }
    report(message, [message] { return message; });
    if (isHandling<StructuredException>()) {
        giveToOthers();
    }
    end(terminateExitCode);
}

/// Thrown no further than here, so that the unwinder need not find its way, and the handler finds
/// the exception.
void terminateFor(unsigned int code) noexcept
{
    try {
        throwStructuredException(code);
    } catch (...) {
        std::terminate();
    }
}

void onSignal(int number) noexcept
{
    report("Caught signal", [number] {
        return tolvane::string("Caught signal: #") + tolvane::string::number(number);
    });
    end(static_cast<unsigned int>(number));
}

void onPureCall() noexcept
{
    const char* const message = "Pure virtual function called";
    report(message, [message] { return message; });
    end(pureCallExitCode);
}

void onUnreportedPureCall() noexcept
{
    constexpr char text[] = "pure virtual method called\n";
    tolvane::writeStandardError(text, sizeof text - 1);
    std::terminate();
}

void onInvalidParameter(const wchar_t* expression, const wchar_t* function, const wchar_t* file,
                        unsigned int line) noexcept
{
    report("Invalid CRT Parameter",
           [=] { return describeParameter(expression, function, file, line); });
}

void throwStructuredException(unsigned int code)
{
    throw StructuredException(StructuredException::explain(code));
}

void throwAllocatorFault(unsigned int code)
{
    throw AllocatorFault(StructuredException::explain(code));
}

} // namespace faults
