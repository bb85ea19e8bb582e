#pragma once

#include <tolvane/export.h>
#include <tolvane/tracelevel.h>
#include <tolvane/tracestream.h>

TOLVANE_BEGIN_DECLARATIONS

/// A flight recorder: keeps the newest lines in memory, and hands them to another sink when
/// something has gone wrong, so that what came before an error is there in every detail and the
/// file stays small.
///
/// What it keeps is what its own levels take, tl_trace for everything. All that it keeps is handed
/// on, the oldest first and each line once, when a line at a certain level or a worse one comes,
/// which follows then; with a fault report; and by dump().
///
/// A line that waits here counts as written; when the other sink loses it, as lost. Memory is that
/// of so many lines with their texts, as long as these are. A forked process has none of its
/// parent's lines.
class TOLVANE_EXPORT recordertracestream : public tracestream
{
public:
    /// \param lines  how many are kept; the oldest ones go.
    /// \param sink   where they go: a clone of it, which is nobody else's and whose levels count for
    ///               nothing. The same destination may be attached beside it.
    /// \param level  a line at this level or a worse one, a numerically lower one, brings them on.
    recordertracestream(unsigned long long lines, const tracestream& sink,
                        tracelevel_t level = tl_error);

    /// Copies the levels and what was given to the constructor, and no lines.
    recordertracestream(const recordertracestream& other);

    recordertracestream& operator=(const recordertracestream&) = delete;

    /// What the other sink throws costs one line, and what it loses counts as lost for this one.
    void log(const formattedline& line) override;
    ~recordertracestream() override;

    /// Another one than the other sink's, and the same for all recorders of its destination.
    unsigned long long id() const override;

    recordertracestream* clone() const override;

    /// Hands on what is kept, and what was traced before the call.
    ///
    /// To be called on the attached sink, which trace::output returns as a tracestream, by any
    /// thread; one that is not attached has no lines. Waits for lines that are being written. A
    /// hardware fault in a sink reaches the caller as an exception.
    void dump();

private:
    friend class passwriter;
    friend class sinkdescription;

    struct TOLVANE_INTERNAL Impl;

    Impl* m_recorder; ///< owned, never null
};

TOLVANE_END_DECLARATIONS
