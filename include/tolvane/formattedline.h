#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <string_view>

class hashedfunction;
class timestamp;

TOLVANE_BEGIN_DECLARATIONS

/// One trace record: who wrote it, at which level, when, from which thread, and what.
///
/// Time and thread are those of the moment in which it was traced. Sinks turn a record into text by
/// converting it to tolvane::string, and only within log(): the first conversion stores its result
/// in the record, whose memory serves for the next line afterwards. Sinks that show lines in a way
/// of their own ask for its parts; what these refer to is good as long as the record.
class TOLVANE_EXPORT formattedline
{
public:
    enum type_t : int
    {
        tt_starting = 0, ///< function entry, "starting"
        tt_exiting = 1,  ///< function exit, "exiting"
        tt_text = 2,     ///< a text
    };

    /// Copies everything, the rendered text included.
    formattedline(const formattedline& other);
    ~formattedline();

    /// The record's text, without a line end:
    /// "[2024-03-05 14:07:09.045]: 9c4:[I]: MyClass::doWork : loaded 12 items".
    ///
    /// Rendered by the first call and kept. Not thread-safe: the dispatcher's sink lock, held
    /// during log(), guards it.
    operator tolvane::string() const;

    tracelevel_t level() const noexcept { return m_level; }

    type_t type() const noexcept { return m_type; }

    /// The name of the function, such as "MyClass::doWork".
    const tolvane::string& function() const noexcept;

    /// The message; empty for entry and exit lines.
    const tolvane::string& text() const noexcept { return m_text; }

    /// Nanoseconds since 1970-01-01 00:00:00 UTC. <tolvane/chrono.h> makes a time point of it. In
    /// the same millisecond as the one that the text shows; what is finer comes from the
    /// processor's counter where the system keeps time by that, and is 0 elsewhere.
    long long time() const noexcept { return m_utc; }

    /// The operating system's number of the thread.
    unsigned long long threadid() const noexcept { return m_threadid; }

    /// What the thread was called when it traced the line, see trace::nameThread; empty for a
    /// thread without a name.
    const tolvane::string& threadName() const noexcept { return m_threadName; }

private:
    friend class fileencoder;
    friend class lineunpacker;
    friend struct formattedlinetest;

    /// A record to be filled.
    TOLVANE_INTERNAL formattedline();

    /// A text line of now and of this thread. Takes the text over and leaves the caller's string
    /// empty.
    TOLVANE_INTERNAL formattedline(tracelevel_t level, const hashedfunction& function,
                                   tolvane::string& text);

    /// An entry or exit line of now and of this thread.
    TOLVANE_INTERNAL formattedline(tracelevel_t level, const hashedfunction& function, type_t type);

    /// Copies text, level and time only: a line that was rendered keeps its rendering, function,
    /// kind and thread.
    TOLVANE_INTERNAL formattedline& operator=(const formattedline& other);

    TOLVANE_INTERNAL wchar_t levelChar() const;

    /// The record's text where it is kept. Many lines share the stamp of their second.
    TOLVANE_INTERNAL const tolvane::string& rendered(timestamp& stamp) const;
    TOLVANE_INTERNAL const tolvane::string& rendered() const;

    /// Replaces a text by the record's.
    TOLVANE_INTERNAL void render(tolvane::string& text, timestamp& stamp) const;

    mutable tolvane::string m_formatted; ///< the rendered line; empty until the first conversion
    const hashedfunction* m_function;    ///< never null; not owned
    tolvane::string m_text;              ///< empty for entry and exit lines
    tracelevel_t m_level;
    unsigned long long m_time; ///< milliseconds since 1970 on the local wall clock
    type_t m_type;
    unsigned long long m_threadid; ///< the operating system's number of the thread
    long long m_utc;               ///< m_time in nanoseconds and in UTC
    tolvane::string m_threadName;
};

TOLVANE_END_DECLARATIONS
