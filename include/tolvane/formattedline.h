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
/// in the record, whose memory serves for the next line afterwards.
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

private:
    friend class filetracestream;
    friend class lineunpacker;
    friend class passwriter;
    friend class rotatingfilestracestream;
    friend struct formattedlinetest;

    /// A record to be filled.
    formattedline();

    /// A text line of now and of this thread. Takes the text over and leaves the caller's string
    /// empty.
    formattedline(tracelevel_t level, const hashedfunction& function, tolvane::string& text);

    /// An entry or exit line of now and of this thread.
    formattedline(tracelevel_t level, const hashedfunction& function, type_t type);

    /// Copies text, level and time only: a line that was rendered keeps its rendering, function,
    /// kind and thread.
    formattedline& operator=(const formattedline& other);

    wchar_t levelChar() const;

    /// The record's text where it is kept. Many lines share the stamp of their second.
    const tolvane::string& rendered(timestamp& stamp) const;
    const tolvane::string& rendered() const;

    /// Replaces a text by the record's.
    void render(tolvane::string& text, timestamp& stamp) const;

    mutable tolvane::string m_formatted; ///< the rendered line; empty until the first conversion
    const hashedfunction* m_function;    ///< never null; not owned
    tolvane::string m_text;              ///< empty for entry and exit lines
    tracelevel_t m_level;
    unsigned long long m_time; ///< milliseconds since 1970 on the local wall clock
    type_t m_type;
    unsigned long long m_threadid; ///< the operating system's number of the thread
};

TOLVANE_END_DECLARATIONS
