#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/scope.h>
#include <tolvane/trace.h>

#include "stacktrace/callstack.h"
#include "stacktrace/faulthooks.h"
#include "trace/traceimpl.h"

#include <iostream>

namespace {

/// The same name in every report, whatever the compiler calls this function.
constexpr const char* signature =
    "void __cdecl stacktrace::FaultHandler(const class tolvane::string &)";

/// Outermost first, a function a line; an empty line separates the threads.
void writeStack(traceobject& report, const stacktrace& stack)
{
    for (unsigned long long depth = 0; const hashedfunction* const function = stack[depth];
         ++depth) {
        report(tl_error) << (depth == 0 ? L"" : L"-->") << function->name() << std::endl;
    }
    report(tl_error) << std::endl;
}

void attachStandardError()
{
    safesingleton<traceimpl>::instance().output(ostreamtracestream<char>(std::cerr), tl_error);
}

} // namespace

/// The level is that of before standard error is attached: the first report of a process in which
/// no sink takes errors is not written.
void stacktrace::FaultHandler(const tolvane::string& message)
{
    static const hashedfunction* function = nullptr;
    traceobject report(function, signature);
    attachStandardError();
    TOLVANE_LOGF(report, tl_error, "%s. Trace follows:", message);
    if (report.takes(tl_error)) {
        for (const stacktrace& stack : getTraces()) {
            writeStack(report, stack);
        }
    }
    myTrace().clear();
}

void stacktrace::installHandlers()
{
    faults::installHooks();
}

stacktrace::startup_struct::startup_struct()
{
    faults::pinModule();
    installHandlers();
}

stacktrace::startup_struct stacktrace::m_startup;
