#pragma once

#include <tolvane/export.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/nullobject.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <string>

class tracestream;

TOLVANE_BEGIN_DECLARATIONS

/// The library's front door: attaches sinks, sets levels, registers functions, flushes.
///
/// Every member may be called from any thread. No call reports an error; none throws but on
/// allocation failure, or what a custom sink's id() or clone() throws. Levels are kept by the
/// sinks: setting one acts on the sinks that are attached by then. After the end of main, when the
/// dispatcher is gone, calls do nothing harmful and lines are dropped.
class TOLVANE_EXPORT trace
{
public:
    trace() = delete;

    /// Attaches a clone of the sink; it replaces an attached sink of the same id(). Holds the
    /// instance lock and the sink lock: waits for a line that is being written.
    ///
    /// \return the attached clone, valid until the sink is removed or replaced. It has no levels
    ///         yet.
    static tracestream& output(const tracestream& sink);

    /// Writes the queued lines, then detaches and deletes the sink with the argument's id(). An id
    /// that is not attached is ignored.
    static void remove(const tracestream& sink);

    /// Sets the level of every function that has no setting of its own, for every attached sink.
    static void setLevel(tracelevel_t level);

    /// Sets the level of a namespace, class or function, for every attached sink.
    /// \param name  "::"-separated, case-sensitive, without parameters; empty: as setLevel(level).
    static void setLevel(tracelevel_t level, const tolvane::string& name);

    /// The greatest level that an attached sink gives the function; 0 without a sink.
    static tracelevel_t level(const hashedfunction& function)
    {
        tracelevel_t remembered = tl_always;
        return function.remembersLevel(remembered) ? remembered : askSinks(function);
    }

    /// The same for a name or a signature, which is not registered thereby.
    static tracelevel_t level(const tolvane::string& name);
    static tracelevel_t level(const std::string& name);

    /// Registers a function by its compiler signature. Every call makes a new entry: keep the
    /// result, as TOLVANE_SCOPE does. The reference stays valid for the life of the process.
    static const hashedfunction& registerfunction(const char* signature);
    static const hashedfunction& registerfunction(const wchar_t* signature);

    /// Forgets every setting and gives every function this level, for every attached sink.
    static void clearLevels(tracelevel_t level);

    /// Forgets the settings of a name and of what it contains, for every attached sink. An empty
    /// name resets every sink to tl_always.
    static void clearLevels(const tolvane::string& name);

    /// The integer as a level when it lies in 0..6, else the fallback. Takes no lock.
    static tracelevel_t getLevelFromInt(int level, tracelevel_t fallback);

    /// Waits until the queued lines have reached the sinks.
    ///
    /// \param milliseconds  0: the calling thread writes every queued line itself, now. Otherwise
    ///                      waits for the writer thread to finish a pass, normally within 10 ms.
    ///                      The number is a budget that shrinks by 10 per retry, not by the time
    ///                      that passed: without a running writer, flush(n) takes
    ///                      n + (n - 10) + (n - 20) + ... milliseconds.
    static void flush(unsigned long long milliseconds);

    /// A stream that discards everything.
    static nullobject __nullobject;

private:
    static tracelevel_t askSinks(const hashedfunction& function);
};

TOLVANE_END_DECLARATIONS
