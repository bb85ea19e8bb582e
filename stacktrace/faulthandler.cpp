#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include "stacktrace/barereport.h"
#include "stacktrace/callstack.h"
#include "stacktrace/faulthooks.h"
#include "support/callerserror.h"
#include "support/clock.h"
#include "support/standarderror.h"
#include "trace/insidelibrary.h"
#include "trace/linecontents.h"
#include "trace/lineunpacker.h"
#include "trace/traceimpl.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
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
    explicit faultreport(const hashedfunction& function)
        : m_function(function), m_lines(std::make_shared<packedlines>())
    {}

    void add(tolvane::string text)
    {
        appendLine(*m_lines, tl_error, m_function, textcontent{text});
    }

    /// Outermost first, a function a line; an empty line separates the threads.
    void add(const stacktrace& stack)
    {
        for (unsigned long long depth = 0; const hashedfunction* const function = stack[depth];
             ++depth) {
            add(depth == 0 ? function->name() : tolvane::string("-->") + function->name());
        }
        add(tolvane::string());
    }

    std::shared_ptr<const packedlines> lines() const noexcept { return m_lines; }

private:
    const hashedfunction& m_function;
    const std::shared_ptr<packedlines> m_lines;
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

/// How much is left of the time that a report may take.
class timeleft
{
public:
    unsigned long long milliseconds() const noexcept
    {
        const unsigned long long took = tolvane::Clock::current().monotonicMilliseconds() - m_start;
        return traceimpl::longestWaitToReport - std::min(took, traceimpl::longestWaitToReport);
    }

private:
    const unsigned long long m_start = tolvane::Clock::current().monotonicMilliseconds();
};

/// Registered with the first report. Another thread may hold the instance lock, and be stuck in the
/// application's code: in a sink's clone().
/// \return null when the lock cannot be had in time.
const hashedfunction* reporter(traceimpl& dispatcher, const timeleft& left)
{
    static const hashedfunction* known = nullptr; // guarded by that lock
    const insidelibrary inside;
    const tolvane::Auto_TimedMutex lock(dispatcher.m_instanceMutex,
                                        left.milliseconds() * tolvane::ticksPerMillisecond);
    if (!lock.owns()) {
        return nullptr;
    }
    if (!known) {
        known = &dispatcher.registerfunction(signature);
    }
    return known;
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
    const timeleft left;
    traceimpl& dispatcher = safesingleton<traceimpl>::instance(); // whatever the fault interrupted
    const hashedfunction* function = reporter(dispatcher, left);
    if (!function) {
        const stackclearer clearer([] { myTrace().clear(); });
        barereport::write(message.narrow());
        return;
    }
    traceobject scope(function, signature);
    const stackclearer clearer([] { myTrace().clear(); });
    faultreport report(*function);
    if (scope.takes(tl_error)) {
        report.add(message + tolvane::string(". Trace follows:"));
        for (const stacktrace& stack : getTraces()) {
            report.add(stack);
        }
    }
    if (!dispatcher.report(ostreamtracestream<char>(std::cerr), tl_error, report.lines(),
                           left.milliseconds())) {
        writeToStandardErrorAlone(*report.lines());
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
