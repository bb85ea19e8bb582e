#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include "stacktrace/barereport.h"
#include "stacktrace/callstack.h"
#include "stacktrace/faulthooks.h"
#include "support/callerserror.h"
#include "support/standarderror.h"
#include "trace/linecontents.h"
#include "trace/lineunpacker.h"
#include "trace/traceimpl.h"

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

/// The same name in every report, whatever the compiler calls this function.
constexpr const char* signature =
    "void __cdecl stacktrace::FaultHandler(const class tolvane::string &)";

/// Milliseconds. What other threads trace while the process ends need not all be waited for.
constexpr unsigned long long longestWaitAtEnd = 1000;

/// The lines of a report, made before any lock is taken.
class faultreport
{
public:
    explicit faultreport(const hashedfunction& function) : m_function(function) {}

    void add(tolvane::string text) { appendLine(m_lines, tl_error, m_function, textcontent{text}); }

    /// Outermost first, a function a line; an empty line separates the threads.
    void add(const stacktrace& stack)
    {
        for (unsigned long long depth = 0; const hashedfunction* const function = stack[depth];
             ++depth) {
            add(depth == 0 ? function->name() : tolvane::string("-->") + function->name());
        }
        add(tolvane::string());
    }

    const packedlines& lines() const noexcept { return m_lines; }

private:
    const hashedfunction& m_function;
    packedlines m_lines;
};

/// Past the dispatcher, and past the stream, whose locks another thread may hold.
void writeToStandardErrorAlone(const packedlines& lines)
{
    lineunpacker unpacker;
    std::string bytes;
    for (const queuedline& line : lines) {
        const tolvane::string text = unpacker.unpack(line);
        bytes.append(text.narrow()).append(1, '\n');
    }
    tolvane::writeStandardError(bytes.data(), bytes.size());
}

/// A thread that goes on after its report starts with an empty stack.
class stackclearer
{
public:
    explicit stackclearer(void (*clear)()) noexcept : m_clear(clear) {}
    ~stackclearer() { m_clear(); }

    stackclearer(const stackclearer&) = delete;
    stackclearer& operator=(const stackclearer&) = delete;

private:
    void (*const m_clear)();
};

} // namespace

/// The level is that of before standard error is attached: the first report of a process in which
/// no sink takes errors is not written.
void stacktrace::FaultHandler(const tolvane::string& message)
{
    const tolvane::CallersError callersError;
    // whatever the fault has interrupted
    static const hashedfunction* function = &trace::registerfunction(signature);
    traceobject scope(function, signature);
    const stackclearer clearer([] { myTrace().clear(); });
    faultreport report(*function);
    if (scope.takes(tl_error)) {
        report.add(message + tolvane::string(". Trace follows:"));
        for (const stacktrace& stack : getTraces()) {
            report.add(stack);
        }
    }
    traceimpl& dispatcher = safesingleton<traceimpl>::instance();
    const ostreamtracestream<char> standardError(std::cerr);
    if (!dispatcher.report(standardError, tl_error, report.lines()) &&
        !dispatcher.isInCallOf(standardError.id())) {
        writeToStandardErrorAlone(report.lines());
    }
}

void stacktrace::reportAndEnd(const tolvane::string& message, int status)
{
    try {
        FaultHandler(message);
        safesingleton<traceimpl>::instance().sync(longestWaitAtEnd);
    } catch (...) {
        // no memory, or a sink that faults: the process ends without the rest
    }
    std::_Exit(status); // other threads still run: they would see objects destroyed
}

void stacktrace::installHandlers()
{
    faults::installHooks();
}

void stacktrace::uninstallHandlers()
{
    faults::uninstallHooks();
}

stacktrace::startup_struct::startup_struct()
{
    faults::pinModule();
    barereport::prepare();
    installHandlers();
}

stacktrace::startup_struct stacktrace::m_startup;
