#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

class formattedline;
class hashedfunction;
template <class level_t>
class hashedfunctiontree;

TOLVANE_BEGIN_DECLARATIONS

/// The base of every sink: a destination for lines together with its own levels per function.
///
/// trace::output attaches a clone() of a sink and returns a reference to it; levels are set through
/// that reference or through trace::setLevel. A sink has no lock of its own. The dispatcher calls
/// log() and level() holding its sink lock, and trace::setLevel and trace::clearLevels change
/// levels safely at any time; a level that is set on the returned reference while lines are being
/// written is the caller's risk.
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
    /// flushes, with the sink lock held. An implementation reports nothing; what it throws costs
    /// this sink this line and nothing else. It must not trace and not call the facade.
    virtual void log(const formattedline& line) = 0;

    virtual ~tracestream();

    /// The destination's identity: equal for all sinks that write to the same destination, and
    /// different for others. Attaching a sink replaces the attached one of the same id.
    virtual unsigned long long id() const = 0;

    /// A new sink on the heap, of the same dynamic type and for the same destination, without this
    /// sink's levels; never null. The caller owns it.
    virtual tracestream* clone() const = 0;

    /// Sets the level of every function that has no setting of its own.
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
    friend struct tracestreamtest;

    tracestream& operator=(const tracestream& other);

    hashedfunctiontree<tracelevel_t>* m_levels; ///< owned, never null
};

TOLVANE_END_DECLARATIONS
