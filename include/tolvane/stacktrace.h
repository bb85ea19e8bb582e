#pragma once

#include <tolvane/export.h>

#include <list>

class hashedfunction;

namespace tolvane {
class Mutex;
class string;
} // namespace tolvane

TOLVANE_BEGIN_DECLARATIONS

/// The registered functions that run on one thread, outermost first; its static members keep the
/// stacks of all threads.
///
/// A stack is changed by its own thread only. Copying one is safe at any time, also while its
/// thread changes it: the copy then holds a state in between.
class TOLVANE_EXPORT stacktrace
{
public:
    stacktrace();
    stacktrace(const stacktrace& other);
    stacktrace(stacktrace&& other) noexcept;
    stacktrace& operator=(const stacktrace& other);
    stacktrace& operator=(stacktrace&& other) noexcept;
    ~stacktrace();

    /// How many functions the stack holds.
    unsigned long long size() const noexcept;

    /// The function at a depth, 0 being the outermost; null beyond size().
    const hashedfunction* operator[](unsigned long long depth) const noexcept;

    /// Pushes a function onto the calling thread's stack. Null stands for one without a name.
    static void down(const hashedfunction* function);

    /// Pops the calling thread's innermost function, if there is one.
    /// \return true when the stack is empty afterwards.
    static bool up();

    /// A copy of the calling thread's stack.
    static stacktrace getTrace();

    /// Copies of the stacks of all threads that ever came here, those that have ended included.
    /// Takes no lock, so that a fault can be reported whatever lock its thread holds.
    static std::list<stacktrace> getTraces();

    /// Installs the handlers for faults, which loading the library does for the thread that loads
    /// it: structured exceptions and hardware signals are thrown as an exception derived from
    /// std::exception, and what nobody catches is reported and ends the thread that it came from.
    /// Some settings belong to a thread, so call it at the start of each thread of your own, and
    /// after loading a C runtime that reports invalid parameters. Replaces the handlers installed
    /// before, any number of times.
    static void installHandlers();

    /// Puts back what was there before the library was loaded, so that faults go to the program's
    /// own handlers, or to the system for a core dump: on Windows what belongs to a thread for the
    /// calling thread. A handler that was put in the place of the library's stays. From any thread,
    /// any number of times; installHandlers() takes it back.
    static void uninstallHandlers();

    /// Writes a message and the stacks of all threads, at tl_error, through the attached sinks and
    /// to standard error, for which it attaches a sink at tl_error. Nothing is written when no sink
    /// took errors before. The calling thread hands the lines to the sinks itself, behind all that
    /// waits. When a sink has held the others up for a second they go to standard error alone, and
    /// nowhere when that is the one. Returns normally; the calling thread's stack is empty
    /// afterwards. Throws std::bad_alloc, and a sink's hardware fault.
    static void FaultHandler(const tolvane::string& message);

    /// Writes the report, then what waits for the sinks (for a second at most), and ends the
    /// process at once: no destructors, no functions of atexit. For handlers of the program's own.
    /// Throws nothing: what cannot be written is lost.
    /// \param status  the process's exit code, on Linux its low 8 bits.
    [[noreturn]] static void reportAndEnd(const tolvane::string& message, int status);

private:
    friend struct barereport;
    friend class scopeentry;
    friend struct stacktracetest;
    friend struct threadstacks;

    struct TOLVANE_INTERNAL Block;
    struct TOLVANE_INTERNAL Entry;
    struct TOLVANE_INTERNAL Registry; ///< all threads' stacks by thread id

    /// Installs the handlers when the library is loaded.
    struct TOLVANE_INTERNAL startup_struct
    {
        startup_struct();
    };

    void push(const hashedfunction* function);
    bool pushWithin(const hashedfunction* function, unsigned long long& before) noexcept;
    TOLVANE_INTERNAL void pushGrown(const hashedfunction* function);
    void pop() noexcept;
    TOLVANE_INTERNAL void clear() noexcept;

    TOLVANE_INTERNAL static const hashedfunction* nameless();
    static stacktrace* knownTrace() noexcept;
    static void pushMine(const hashedfunction* function);
    static void popMine();
    static stacktrace& myTrace();
    TOLVANE_INTERNAL static stacktrace& findTrace();
    TOLVANE_INTERNAL static stacktrace& enterRegistry();
    TOLVANE_INTERNAL static Registry& m_alltraces();
    TOLVANE_INTERNAL static tolvane::Mutex& m_staticmutex();

    static startup_struct m_startup;

    // Atomic for every access, see tolvane::atomicRef: the header of the standard's own would take
    // long to compile. Readers on other threads load the count first, then the block, and bound one
    // by the other.
    mutable Block* m_functions = nullptr; ///< owned; blocks that it outgrew are chained behind it
    mutable unsigned long long m_count = 0;
};

TOLVANE_END_DECLARATIONS
