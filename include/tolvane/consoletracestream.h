#pragma once

#include <tolvane/export.h>
#include <tolvane/tracestream.h>

#include <iosfwd>

namespace tolvane {
enum class standardstream;
} // namespace tolvane

TOLVANE_BEGIN_DECLARATIONS

/// A sink for a person's eyes: writes to a standard stream, and colours lines by their level where
/// the stream leads to a terminal.
///
/// Errors are red, warnings yellow, what is always traced is bold, tl_debug and tl_trace are grey.
/// There are no colours where the environment has NO_COLOR, or TERM is "dumb", when the sink is
/// made; with FORCE_COLOR, and without NO_COLOR, there are colours without a terminal, too. (An
/// empty variable counts as none, and FORCE_COLOR=0 as NO_COLOR=1.) Copies and clones are as the
/// sink is, and ask nothing. Where the stream leads is
/// looked at with every line. A stream with another buffer than the process's standard output or
/// error has no colours, whatever the environment says.
///
/// Bytes go to the stream's buffer of the moment, behind which they are flushed. What state the
/// stream is in counts for nothing, and stays as it is. A line that the buffer does not take whole
/// is lost. Text is converted by the C library in the process's locale (LC_CTYPE), or is UTF-8, see
/// trace::useUtf8; a console of Windows gets characters, whatever its code page.
class TOLVANE_EXPORT consoletracestream : public tracestream
{
public:
    /// For std::cerr.
    consoletracestream();

    /// \param stream  must live until the sink is removed or the process ends.
    explicit consoletracestream(std::ostream& stream);

    consoletracestream(const consoletracestream& other);
    consoletracestream& operator=(const consoletracestream&) = delete;

    /// Throws, for the dispatcher to count the line as lost, when the stream does not take it.
    void log(const formattedline& line) override;
    ~consoletracestream() override;

    /// The address of the stream.
    unsigned long long id() const override;

    consoletracestream* clone() const override;

private:
    /// When lines are coloured.
    enum colours_t : int
    {
        co_never = 0,
        co_onTerminals = 1,
        co_always = 2,
    };

    TOLVANE_INTERNAL consoletracestream(std::ostream& stream, colours_t colours);

    TOLVANE_INTERNAL static colours_t wanted();
    TOLVANE_INTERNAL bool isColoured(tolvane::standardstream stream) const;

    std::ostream* m_stream; ///< not owned
    colours_t m_colours;
};

TOLVANE_END_DECLARATIONS
