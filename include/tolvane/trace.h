#pragma once

#include <tolvane/export.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/nullobject.h>
#include <tolvane/pathname.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <string>
#include <type_traits>

class tracestream;

TOLVANE_BEGIN_DECLARATIONS

/// The library's front door: attaches sinks, sets levels, registers functions, flushes.
///
/// Every member may be called from any thread. No call reports an error; none throws but on
/// allocation failure, for which a clone() that is null is taken, or what a custom sink's id() or
/// clone() throws. Levels are kept by the sinks: setting one acts on the sinks that are attached by
/// then. After the end of main, when the dispatcher is gone, calls do nothing harmful and lines are
/// dropped. A sink that never returns from writing a line holds up output() and remove(), and no
/// other call.
class TOLVANE_EXPORT trace
{
public:
    trace() = delete;

    /// Why a line did not reach a sink; each has a cure of its own.
    enum lossreason : int
    {
        busySink,    ///< a sink took too long with another line
        noMemory,    ///< there was no memory for the line, or none that could be had at that moment
        destination, ///< a file could not be written, or the sink threw or faulted
        ended,       ///< the line came after the end of the dispatcher, or its thread was ended
    };

    /// Attaches a clone of the sink; it replaces an attached sink of the same id(). Waits for lines
    /// that are being written.
    ///
    /// \return the attached clone, valid until the sink is removed or replaced. It has no levels
    ///         yet.
    static tracestream& output(const tracestream& sink);

    /// Writes the queued lines, then detaches and deletes the sink with the argument's id(). An id
    /// that is not attached is ignored. Waits for lines that are being written; a hardware fault in
    /// a sink reaches the caller as an exception.
    static void remove(const tracestream& sink);

    /// Sets the level of every function that has no setting of its own, for every attached sink.
    static void setLevel(tracelevel_t level);

    /// Sets the level of a namespace, class or function, for every attached sink.
    /// \param name  "::"-separated, case-sensitive, without parameters; empty: as setLevel(level).
    static void setLevel(tracelevel_t level, const tolvane::string& name);

    /// The same for the attached sink with the argument's id() alone. An id that is not attached is
    /// ignored.
    static void setLevel(const tracestream& sink, tracelevel_t level,
                         const tolvane::string& name = tolvane::string());

    /// Sets levels by a text, for every attached sink: "*=warning, shop=debug, shop::order=trace".
    /// What has been set for other names stays.
    ///
    /// \param settings  parts with commas between, each a name, an equality sign and a level. "*"
    ///                  is what has no setting of its own. A level is one of the words always,
    ///                  error, warning, info, verbose, debug and trace, its letter (!, E, W, I, V,
    ///                  D, T) or its number, in any case. Blanks around names and levels are
    ///                  ignored, and so are empty parts. A name is set before what it contains; of
    ///                  equal ones the last counts.
    /// \return false when a part is malformed; then nothing has changed.
    static bool setLevels(const tolvane::string& settings);

    /// Attaches sinks as a variable of the environment says, the way to turn tracing on in a
    /// program that is in its users' hands: TOLVANE='*=info,shop=trace > file:shop.log; *=error'.
    ///
    /// \param variable  its name. The text has entries with semicolons or line feeds between, each
    ///                  levels as for setLevels(), which become those of that sink, a ">" and where
    ///                  lines go: stdout, stderr, file:PATH, rotating:PATH:FILES:KIB or json:PATH.
    ///                  Without a ">" they go to standard error. Blanks around all these, and empty
    ///                  entries, are ignored; of entries for one destination, or one file, the last
    ///                  counts. On Linux the text is UTF-8, but that the names of files are the
    ///                  bytes that stand there, whatever the locale.
    /// \return true when all is attached that is named, which is nothing when the variable is empty
    ///         or not set. False when an entry is malformed: then nothing is attached, and a line
    ///         on standard error tells which and why.
    ///
    /// No other thread may change the environment meanwhile. In a program that has more rights than
    /// whoever started it (set-user-id, on Linux), every variable counts as not set.
    static bool outputFromEnvironment(const char* variable = "TOLVANE");

    /// Attaches sinks as a file says, and does so anew whenever the file has changed: levels of a
    /// running program are raised from outside. The writer thread, which this starts, looks at the
    /// file once a second. A later call follows another file instead.
    ///
    /// \param path  a file with the text that outputFromEnvironment() reads, in UTF-8, at most a
    ///              mebibyte. Relative to the current directory of each look: a daemon, which goes
    ///              elsewhere, gives an absolute path. (A narrow path is converted as all narrow
    ///              text is: from the process's locale, or from UTF-8 after useUtf8().) Empty: no
    ///              file is followed any more; what was set stays.
    /// \return false when it cannot be read now, or is malformed; it is followed all the same. False
    ///         without a path, too.
    ///
    /// A destination that is not named any more is detached, one that is new is attached, one that
    /// stays has the levels of now and no others. Sinks that the application has attached itself
    /// are left alone, also where the file names their destination. While the file is malformed,
    /// which a line on standard error tells once, or is gone, all stays as it was, and describe()
    /// tells so. Without memory it is tried again a second later. A change takes effect for the
    /// lines that are traced from then on. Waits for lines that are being written; a hardware fault
    /// in a sink reaches the caller as an exception. A forked process follows the file when its own
    /// writer has started, with its first line.
    ///
    /// The environment is asked for what consoletracestream looks for there, by this call alone: no
    /// other thread may change it meanwhile.
    static bool followSettings(const tolvane::string& path);

    /// The same for a std::filesystem::path.
    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    static bool followSettings(const path_t& path)
    {
        return followSettings(tolvane::string(path.native().c_str()));
    }

    /// The greatest level that an attached sink gives the function; 0 without a sink.
    static tracelevel_t level(const hashedfunction& function);

    /// The same for a name or a signature, which is not registered thereby.
    static tracelevel_t level(const tolvane::string& name);
    static tracelevel_t level(const std::string& name);
    static tracelevel_t level(const char* name);

    /// Registers a function by its compiler signature. Every call makes a new entry: keep the
    /// result, as TOLVANE_SCOPE does. The reference stays valid for the life of the process.
    static const hashedfunction& registerfunction(const char* signature);
    static const hashedfunction& registerfunction(const wchar_t* signature);

    /// Forgets every setting and gives every function this level, for every attached sink.
    static void clearLevels(tracelevel_t level);

    /// Forgets the settings of a name and of what it contains, for every attached sink. An empty
    /// name resets every sink to tl_always.
    static void clearLevels(const tolvane::string& name);

    /// The same for the attached sink with the argument's id() alone. An id that is not attached is
    /// ignored.
    static void clearLevels(const tracestream& sink, const tolvane::string& name);

    /// From now on narrow text is UTF-8, whatever the locale: that of traced lines and signatures,
    /// what tolvane::string is made of and gives, file names. The library's own sinks write UTF-8,
    /// but for those of wide streams, which convert by themselves. What is not well-formed, or a
    /// lone surrogate in wide text, becomes U+FFFD. To be called at the start of main, since text
    /// that was converted before stays as it is; there is no way back. Takes no lock.
    static void useUtf8();

    /// Tells people what is attached, for the question why they see nothing: a line, with a line
    /// feed at its end, per sink, in the order of their ids, or one that says that there is none.
    ///
    /// A line has the destination (a file's path, "standard error", a sink of the application's as
    /// its id), the levels, how many lines were written and lost so far, and in the system's words
    /// the last error of a file. Lines that wait are in none of the counts: see sync(). Behind the
    /// sinks a line tells what is wrong with the file that followSettings() follows, if anything
    /// is.
    static tolvane::string describe();

    /// The integer as a level when it lies in 0..6, else the fallback. Takes no lock.
    static tracelevel_t getLevelFromInt(int level, tracelevel_t fallback);

    /// Names the calling thread, for sinks that have room for it: see formattedline::threadName().
    /// Lines that the thread traces from now on have the name. Empty: none. The child of a fork
    /// keeps the name of the thread that forked.
    static void nameThread(const tolvane::string& name);

    /// Has queued lines written.
    ///
    /// \param milliseconds  0: the calling thread writes every line that waits itself, now; a sink
    ///                      that is busy for longer than about 2 ms costs these lines. Otherwise
    ///                      waits for the writer thread to finish a pass, normally within 10 ms.
    ///                      The number is a budget that shrinks by 10 per retry, not by the time
    ///                      that passed: without a running writer, flush(n) takes
    ///                      n + (n - 10) + (n - 20) + ... milliseconds.
    ///
    /// Does not promise that all earlier lines have reached the sinks: another thread may have
    /// taken some of them and be writing still, and a pass that ends may have begun before the last
    /// of them came. sync() waits for that. Within a sink's own call it returns at once. A hardware
    /// fault in a sink reaches the caller of flush(0) as an exception.
    static void flush(unsigned long long milliseconds);

    /// From now on a line at this level or a worse one, a numerically lower one, has been handed to
    /// the sinks, or counted as lost, when its statement ends, with all that was traced before: it
    /// is there also when the program aborts behind it. Entry and exit lines are such lines, too.
    ///
    /// \param level  a value below tl_always, such as static_cast<tracelevel_t>(-1), turns it off,
    ///               as it is at first.
    ///
    /// By the rules of flush(0): a sink that is busy for longer than about 2 ms costs the lines
    /// that wait; what another thread is writing is waited for as long. A line that is traced
    /// within a sink's own call is not waited for. But the statement throws nothing: a hardware
    /// fault of a sink is left to the library's own thread, which tells of it as of one that it
    /// came upon itself.
    static void flushOn(tracelevel_t level);

    /// How often a line that an attached sink's level took did not reach that sink, since the start
    /// of the process, counted for each line and sink.
    static unsigned long long lost();

    /// The same for one reason. 0 for what is none of the reasons.
    static unsigned long long lost(lossreason reason);

    /// Waits until every line that was queued before the call, by any thread, has been handed to
    /// the sinks or counted as lost.
    ///
    /// \param milliseconds  the longest time to wait; 0 only asks.
    /// \return false when that much time has passed, or at once within a sink's own call. True at
    ///         once when nothing is queued or no sink is attached.
    ///
    /// Where no writer thread runs, the calling thread writes, and a hardware fault in a sink
    /// reaches it as an exception.
    static bool sync(unsigned long long milliseconds);

    /// A stream that discards everything.
    static nullobject __nullobject;
};

TOLVANE_END_DECLARATIONS
