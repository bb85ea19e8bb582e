#include <tolvane/formatwriter.h>

#include "support/narrowtext.h"
#include "trace/insidelibrary.h"

#include <cstring>
#include <cwchar>
#include <new>

namespace tolvane {

namespace {

const char* findPercent(const char* text, std::size_t length)
{
    return static_cast<const char*>(std::memchr(text, '%', length));
}

const wchar_t* findPercent(const wchar_t* text, std::size_t length)
{
    return std::wmemchr(text, L'%', length);
}

/// How many characters there are before the percent sign of the next placeholder. Doubled ones and
/// a lone one at the end are text.
template <class char_t>
std::size_t beforePlaceholder(const char_t* format, std::size_t length)
{
    std::size_t at = 0;
    while (const char_t* const mark = findPercent(format + at, length - at)) {
        at = static_cast<std::size_t>(mark - format);
        if (at + 1 == length) {
            break;
        }
        if (mark[1] != mark[0]) {
            return at;
        }
        at += 2;
    }
    return length;
}

bool hasPlaceholder(const string& format)
{
    const auto length = static_cast<std::size_t>(format.length());
    return beforePlaceholder(format.c_str(), length) != length;
}

} // namespace

/// A format that is not plain is converted as a whole, as the locale has it now.
formatwriter::formatwriter(tracedline& line, const char* format)
    : m_line(line), m_narrow(format ? format : ""), m_left(std::strlen(m_narrow))
{
    if (plaintext::findOdd(m_narrow, m_left) != m_narrow + m_left) {
        convert();
    }
}

formatwriter::formatwriter(tracedline& line, const wchar_t* format)
    : m_line(line), m_wide(format ? format : L""), m_left(std::wcslen(m_wide))
{}

void formatwriter::release() noexcept
{
    const insidelibrary inside;
    delete m_owned;
}

void formatwriter::convert()
{
    const insidelibrary inside;
    try {
        m_owned = new string(narrowtext::widened(m_narrow, std::strlen(m_narrow)));
        m_narrow = nullptr;
        m_wide = m_owned->c_str();
        m_left = static_cast<std::size_t>(m_owned->length());
    } catch (const std::bad_alloc&) {
        m_left = 0;
        m_line.cut();
    }
}

void formatwriter::keep(const char* text, std::size_t length)
{
    m_line.keepPlain(text, length);
}

void formatwriter::keep(const wchar_t* text, std::size_t length)
{
    m_line.keepWide(text, length);
}

/// \return false when there is no placeholder: the whole rest was written.
template <class char_t>
bool formatwriter::keepPiece(const char_t*& rest)
{
    constexpr std::size_t placeholderLength = 2;
    const std::size_t before = beforePlaceholder(rest, m_left);
    const std::size_t taken = before == m_left ? before : before + placeholderLength;
    if (before != 0) {
        keep(rest, before);
    }
    rest += taken;
    m_left -= taken;
    return taken != before;
}

bool formatwriter::keepPiece()
{
    return m_narrow ? keepPiece(m_narrow) : keepPiece(m_wide);
}

/// An argument too many is set off by a space.
void formatwriter::writePiece()
{
    if (!m_line.gathers()) {
        splitRest();
    } else if (!keepPiece()) {
        keep(" ", 1);
    }
}

void formatwriter::writeRest()
{
    if (m_line.gathers()) {
        while (keepPiece()) {
        }
        return;
    }
    try {
        string& rest = ownRest();
        while (hasPlaceholder(rest)) {
            m_line.m_stream->logtosplit(rest);
        }
        m_line << rest;
    } catch (const std::bad_alloc&) {
        m_line.cut();
    }
}

/// The stream's own way of splitting a format.
void formatwriter::splitRest()
{
    try {
        string& rest = ownRest();
        if (!hasPlaceholder(rest)) {
            m_line << rest;
            rest.erase(string::npos);
        }
        m_line.m_stream->logtosplit(rest);
    } catch (const std::bad_alloc&) {
        m_line.cut();
    }
}

/// Once a line goes through the stream, it does to its end.
string& formatwriter::ownRest()
{
    const insidelibrary inside;
    if (!m_split) {
        auto* const rest = m_narrow ? new string(m_narrow) : new string(m_wide);
        delete m_owned;
        m_owned = rest;
        m_split = true;
    }
    return *m_owned;
}

} // namespace tolvane
