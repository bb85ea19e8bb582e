#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

class formattedline;
class hashedfunction;
template <class level_t>
class hashedfunctiontree;
template <class char_t>
class ostreamtracestream;

TOLVANE_BEGIN_DECLARATIONS

/// The base of every sink: a destination for lines together with its own levels per function.
///
/// trace::output attaches a clone() of a sink and returns a reference to it; levels are set through
/// that reference or through trace::setLevel. They may be set, cleared and asked for by any thread
/// at any time, also while lines are written: a line that is written at that moment meets the
/// levels as they were before or behind the change. All else of a sink needs the dispatcher's sink
/// lock, which is held during log().
class TOLVANE_EXPORT tracestream
{
public:
    /// A sink that takes nothing but lines of level tl_always until a level is set.
    tracestream();

    /// Copies the levels; the two sinks are independent afterwards.
    tracestream(const tracestream& other);

    /// Writes one line, the line's text and the sink's line end, to the destination.
    ///
    /// Called by the dispatcher only, one line at a time, on its writer thread or on a thread that
    /// flushes, with the sink lock held; levels may change meanwhile. An implementation reports
    /// nothing. What it throws costs this sink this line and nothing else; a hardware fault in it
    /// costs this sink all lines from then on. It should neither trace nor call the facade: what
    /// it traces comes back to it. The record is good until log() returns; a copy of it may be
    /// kept.
    virtual void log(const formattedline& line) = 0;

    virtual ~tracestream();

    /// The destination's identity: equal for all sinks that write to the same destination, and
    /// different for others. Attaching a sink replaces the attached one of the same id.
    virtual unsigned long long id() const = 0;

    /// A new sink on the heap, of the same dynamic type and for the same destination, without this
    /// sink's levels; never null. The caller owns it. A class that derives from one of the
    /// library's sinks has a clone() of its own; else what is attached is the library's sink.
    virtual tracestream* clone() const = 0;

    /// Sets the level of every function that has no setting of its own.
    ///
    /// Thread-safe, as the other members for levels are. What cannot be changed for want of memory
    /// stays as it was, and std::bad_alloc is thrown.
    void setLevel(tracelevel_t level);

    /// Sets the level of a namespace, class or function and of what it contains. A level on the way
    /// that has not been set before takes its parent's level as it is now, and keeps it.
    ///
    /// \param name  "::"-separated, case-sensitive; empty: as setLevel(level). Any text is a name.
    void setLevel(tracelevel_t level, const tolvane::string& name);

    /// Forgets every setting and gives every function this level.
    void clearLevels(tracelevel_t level);

    /// Forgets the settings of a name and of what it contains; with an empty name, of all names.
    /// The level of functions without a setting stays.
    void clearLevels(const tolvane::string& name);

    /// The most specific setting that applies to the function.
    tracelevel_t level(const hashedfunction& function) const;

private:
    friend class consoletracestream;
    friend class debuggertracestream;
    friend class filetracestream;
    friend class jsontracestream;
    template <class char_t>
    friend class ostreamtracestream;
    friend class passwriter;
    friend class recorderfiletracestream;
    friend class recordertracestream;
    friend class rotatingfilestracestream;
    friend class sinkdescription;
    friend class syslogtracestream;
    friend class traceimpl;
    friend struct tracestreamtest;

    /// What the library knows of a sink.
    enum kind_t : int
    {
        sk_custom = 0,       ///< nothing
        sk_stream = 1,       ///< it is one of the library's that may block
        sk_file = 2,         ///< one of the library's that write a file
        sk_rotatingfile = 3, ///< the same with a limit of the file's size or age
        sk_recorder = 4,     ///< a recordertracestream, or derived from it
        sk_recorderfile = 5, ///< exactly a recorderfiletracestream
    };

    tracestream& operator=(const tracestream& other);

    TOLVANE_INTERNAL void forgetReaders() noexcept;

    hashedfunctiontree<tracelevel_t>* m_levels; ///< owned, never null

    /// Set by the clone() of the class in question, which knows what it makes; constructors don't,
    /// since they serve derived classes, too, but for a recorder's: what derives from it keeps
    /// lines as it does. (Programs may be compiled without type information.)
    kind_t m_kind = sk_custom;
};

TOLVANE_END_DECLARATIONS
