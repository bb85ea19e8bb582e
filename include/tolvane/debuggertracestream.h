#pragma once

#include <tolvane/export.h>
#include <tolvane/tracestream.h>

TOLVANE_BEGIN_DECLARATIONS

/// A sink for the debugger that is attached to the process, or for a program that listens to what
/// processes tell debuggers (OutputDebugString). Windows only.
///
/// A line is its text and a line feed, in one piece. The system may cut what is longer than 4 KiB,
/// and has it wait for a listener that is busy. Without anybody who listens a line goes nowhere.
class TOLVANE_EXPORT debuggertracestream : public tracestream
{
public:
    debuggertracestream();

    debuggertracestream(const debuggertracestream& other);
    debuggertracestream& operator=(const debuggertracestream&) = delete;

    void log(const formattedline& line) override;
    ~debuggertracestream() override;

    /// The same for all: there is one debugger.
    unsigned long long id() const override;

    debuggertracestream* clone() const override;
};

TOLVANE_END_DECLARATIONS
