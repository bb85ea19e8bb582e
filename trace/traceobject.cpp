#include <tolvane/traceobject.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/operand.h>
#include <tolvane/scopestream.h>
#include <tolvane/trace.h>
#include <tolvane/tracedline.h>

#include "support/narrowtext.h"
#include "trace/classiclocale.h"
#include "trace/insidelibrary.h"
#include "trace/scopeentry.h"
#include "trace/traceimpl.h"

#include <algorithm>
#include <cwchar>
#include <locale>
#include <new>
#include <string>

namespace {

/// Characters that are looked through for a NUL at a time.
constexpr std::streamsize longestChunk = 0xA00000;

/// What every stream begins with.
constexpr std::ios_base::fmtflags usualFlags = std::ios_base::skipws | std::ios_base::dec;
constexpr std::streamsize usualPrecision = 6;

tolvane::string converted(const char* text, std::size_t count)
{
    const insidelibrary inside;
    return tolvane::narrowtext::widened(text, count);
}

/// For ASCII characters only.
tolvane::string widened(const char* text, std::size_t count)
{
    const insidelibrary inside;
    tolvane::string wide;
    std::copy(text, text + count, wide.overwrite(count));
    return wide;
}

} // namespace

traceobject::traceobject(const hashedfunction*& function, const char* signature)
    : std::basic_ostream<wchar_t>(nullptr), m_function(scopeentry::registered(function, signature))
{
    rdbuf(this);
    m_level = scopeentry::enter(m_function);
}

traceobject::traceobject(const tolvane::scopestream& owner)
    : std::basic_ostream<wchar_t>(nullptr),
      m_function(owner.m_function),
      m_lineLevel(owner.m_lineLevel),
      m_level(owner.m_level),
      m_owner(&owner)
{
    rdbuf(this);
}

traceobject::~traceobject()
{
    if (!m_owner) {
        scopeentry::leave(m_function, m_level);
    }
}

void traceobject::reset()
{
    m_level = trace::level(*m_function);
    if (m_owner) {
        m_owner->m_level = m_level;
    }
}

bool traceobject::asksNow(tracelevel_t level) const
{
    return scopeentry::asksNow(*m_function, m_level, level);
}

traceobject::int_type traceobject::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()) || c == L'\n' || c == L'\r') {
        endLine();
    } else {
        const wchar_t character = traits_type::to_char_type(c);
        append(&character, 1);
    }
    return c;
}

std::streamsize traceobject::xsputn(const wchar_t* text, std::streamsize count)
{
    for (std::streamsize done = 0; done < count; done += longestChunk) {
        append(text + done, static_cast<unsigned long long>(std::min(count - done, longestChunk)));
    }
    return count;
}

/// Appends the characters before the first NUL, which is how tolvane::string counts.
void traceobject::append(const wchar_t* text, unsigned long long count)
{
    const insidelibrary inside;
    m_line.append(text, count);
}

/// A NUL ends the text. Text of ASCII characters converts to itself in every locale; other text is
/// converted as the locale has it.
void traceobject::insertNarrow(const char* text, std::size_t count)
{
    const char* const stop = tolvane::plaintext::findOdd(text, count);
    const auto plain = static_cast<std::size_t>(stop - text);
    if (plain != count && *stop != 0) {
        *this << converted(text, count);
    } else if (insertsUnchanged()) {
        const insidelibrary inside;
        std::copy(text, stop, m_line.extend(plain));
    } else {
        *this << widened(text, plain);
    }
}

/// Whether a text that is inserted arrives in the line as it stands, and nothing else happens. A
/// stream that is not inside a scope may be of a derived class, which takes text in its own way.
bool traceobject::insertsUnchanged() const
{
    return m_owner && width() == 0 && good() && !tie() && rdbuf() == this;
}

/// Whether what is inserted now would be written as in the classic locale, by a stream with which
/// nothing was done yet, to the begin of a line.
bool traceobject::isAsBuilt() const
{
    return m_line.empty() && insertsUnchanged() && flags() == usualFlags &&
           precision() == usualPrecision && fill() == L' ' && exceptions() == goodbit &&
           getloc() == classicLocale();
}

/// Whether a line may begin without the stream. Beside the stream's locale its buffer's is looked
/// at: std::ios_base::imbue() alone leaves the facets that the stream took from the one before.
bool traceobject::isDispensable() const
{
    return isAsBuilt() && std::basic_streambuf<wchar_t>::getloc() == classicLocale();
}

/// A value that failed to be written spoils its own line only. A stream without a buffer cannot be
/// repaired, and may have been told to throw when that is tried.
void traceobject::repair()
{
    if (!good() && (rdbuf() || exceptions() == goodbit)) {
        clear();
    }
}

/// Puts a text in front of the line's, which was written after it.
void traceobject::prepend(tolvane::string& text)
{
    if (!m_line.empty()) {
        text.append(m_line.c_str(), m_line.length());
    }
    m_line.swapText(text);
}

/// Without memory for it, the line's text is dropped: the next line is whole.
void traceobject::endLine()
{
    try {
        safesingleton<traceimpl>::instance().queueLine(m_lineLevel, *m_function, m_line);
    } catch (...) {
        m_line.erase(tolvane::string::npos);
        throw;
    }
    if (m_traced) {
        m_traced->forgetWaiting();
    }
}

/// Leaves the first characters where they are: they belong to a line that goes on.
void traceobject::endLineBehind(unsigned long long waiting)
{
    if (waiting == 0) {
        endLine();
        return;
    }
    tolvane::string text;
    {
        const insidelibrary inside;
        tolvane::string first;
        try {
            first = m_line.substr(0, waiting);
        } catch (const std::bad_alloc&) {
            m_line.erase(tolvane::string::npos);
            throw;
        }
        m_line.erase(waiting);
        m_line.swapText(first);
        text.swapText(first);
    }
    safesingleton<traceimpl>::instance().queueLine(m_lineLevel, *m_function, text);
}

void traceobject::writeText(const tolvane::string& text)
{
    xsputn(text.c_str(), static_cast<std::streamsize>(text.length()));
}

void traceobject::logtosplit(tolvane::string& format)
{
    for (const wchar_t* mark = std::wcschr(format.c_str(), L'%'); mark && mark[1] != 0;
         mark = std::wcschr(format.c_str(), L'%')) {
        const auto before = static_cast<unsigned long long>(mark - format.c_str());
        const bool doubled = mark[1] == L'%';
        xsputn(format.c_str(), static_cast<std::streamsize>(before));
        format.erase(before + 2);
        if (!doubled) {
            return;
        }
        xsputn(L"%%", 2); // both are kept
    }
    if (format.empty()) {
        xsputn(L" ", 1);
    } else {
        writeText(format);
    }
    format.erase(tolvane::string::npos);
}

const wchar_t* traceobject::logtosplitchar(const wchar_t* format, unsigned long long& length)
{
    const wchar_t* mark = std::wcschr(format, L'%');
    while (mark && length != 0 && static_cast<unsigned long long>(mark - format) < length - 1) {
        const auto before = static_cast<unsigned long long>(mark - format);
        const bool doubled = mark[1] == L'%';
        xsputn(format, static_cast<std::streamsize>(before));
        length -= before + 2;
        format = mark + 2;
        if (!doubled) {
            return format;
        }
        xsputn(L"%%", 2);
        mark = std::wcschr(format, L'%');
    }
    xsputn(format, static_cast<std::streamsize>(length));
    if (length == 0 || !mark) {
        xsputn(L" ", 1);
    }
    length = 0;
    return format;
}
