#pragma once

#include <tolvane/export.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string_view>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

class formatwriter;
class narrowstream;
class scopestream;
class tracedline;

/// Writes the text; honours width and fill like the standard strings.
inline std::wostream& operator<<(std::wostream& stream, const string& text)
{
    return stream << std::wstring_view(text.c_str(), static_cast<std::size_t>(text.length()));
}

} // namespace tolvane

/// The stream of a traced function. What TOLVANE_SCOPE opens has one inside, built on its first
/// use; made by its constructor it is a scope by itself.
///
/// While such a one lives, its function is on the calling thread's call stack; with a sink at
/// tl_trace it also queues an entry and an exit line. Text is collected until a line end, written
/// as a character of its own (std::endl, put), hands the line to the dispatcher; a line end within
/// a string stays in the text. Text that was not ended is discarded.
///
/// Used only by the thread that made it. Throws std::bad_alloc only; the destructor throws nothing.
class TOLVANE_EXPORT traceobject : public std::basic_ostream<wchar_t>,
                                   private std::basic_streambuf<wchar_t>
{
public:
    using traits_type = std::basic_ostream<wchar_t>::traits_type;
    using char_type = std::basic_ostream<wchar_t>::char_type;
    using int_type = std::basic_ostream<wchar_t>::int_type;

    // Both bases have these; a scope is used as a stream.
    using std::basic_ostream<wchar_t>::getloc;
    using std::basic_ostream<wchar_t>::imbue;

    /// \param function   the call site's pointer, usually a static one. Null: the function is
    ///                   registered and the pointer set, once however many threads come here at the
    ///                   same time.
    /// \param signature  the compiler's text for the function; not looked at when the pointer is
    ///                   set, and null counts as empty.
    traceobject(const hashedfunction*& function, const char* signature);
    ~traceobject() override;

    traceobject(const traceobject&) = delete;
    traceobject& operator=(const traceobject&) = delete;

    /// Sets the level of the lines that follow; tl_always at first.
    traceobject& operator()(tracelevel_t level)
    {
        setLevel(level);
        return *this;
    }

    /// Asks the sinks for the function's level again, after levels have changed during the scope.
    void reset();

    /// Whether some sink took lines of this level when the scope was opened, or at the last
    /// reset(). No lock.
    bool takes(tracelevel_t level) const noexcept { return level <= m_level; }

    /// Whether some sink takes lines of this level now. No lock, unless levels or sinks have
    /// changed since the function was asked last.
    bool takesNow(tracelevel_t level) const
    {
        tracelevel_t greatest = tl_always;
        return m_function->remembersLevel(greatest) ? level <= greatest : asksNow(level);
    }

protected:
    /// Appends the character, or queues the line when it is a line feed, a carriage return or the
    /// end of file.
    ///
    /// \return the character, always.
    int_type overflow(int_type c) override;

    /// Appends a text; a NUL ends it, in each stretch of 10,485,760 characters.
    /// \return the count, always.
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;

private:
    friend class tolvane::formatwriter;
    friend class tolvane::narrowstream;
    friend class tolvane::scopestream;
    friend class tolvane::tracedline;
    friend struct traceobjecttest;

    /// The stream inside a scope, which does the rest of what a scope does.
    TOLVANE_INTERNAL explicit traceobject(const tolvane::scopestream& owner);

    void setLevel(tracelevel_t level) noexcept { m_lineLevel = level; }

    bool asksNow(tracelevel_t level) const;

    /// Writes the next piece of a %-format, up to and without the next placeholder, and leaves the
    /// rest in format.
    TOLVANE_INTERNAL void logtosplit(tolvane::string& format);

    /// The same for a text of which length characters remain.
    /// \return where the rest of the format starts.
    TOLVANE_INTERNAL const wchar_t* logtosplitchar(const wchar_t* format,
                                                   unsigned long long& length);

    TOLVANE_INTERNAL void writeText(const tolvane::string& text);
    TOLVANE_INTERNAL void append(const wchar_t* text, unsigned long long count);
    void insertNarrow(const char* text, std::size_t count);
    TOLVANE_INTERNAL bool insertsUnchanged() const;
    TOLVANE_INTERNAL bool isAsBuilt() const;
    TOLVANE_INTERNAL bool isDispensable() const;
    TOLVANE_INTERNAL void repair();
    TOLVANE_INTERNAL void prepend(tolvane::string& text);
    TOLVANE_INTERNAL void endLine();
    TOLVANE_INTERNAL void endLineBehind(unsigned long long waiting);

    const hashedfunction* m_function;     ///< never null
    tolvane::string m_line;               ///< the line being built
    tracelevel_t m_lineLevel = tl_always; ///< level of the next line
    tracelevel_t m_level = tl_always;     ///< the function's effective level, see reset()

    /// The scope that the stream is inside of; null when it is one by itself.
    const tolvane::scopestream* m_owner = nullptr;

    /// The innermost traced line that goes through the stream; null between them.
    tolvane::tracedline* m_traced = nullptr;
};

TOLVANE_END_DECLARATIONS
