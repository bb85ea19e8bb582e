#include <tolvane/formatwriter.h>

#include "support/narrowtext.h"
#include "trace/insidelibrary.h"
#include "trace/placeholderreader.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>
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

/// What is no number stands for the placeholder whose "*" it was to be.
formatwriter::step formatwriter::begin(argument kind)
{
    if (!m_isOpen && !open()) {
        keep(" ", 1);
        return step::insert;
    }
    const bool isNumber = kind == argument::integer || kind == argument::unsignedInteger;
    if ((m_placeholder.asksWidth || m_placeholder.asksPrecision) && isNumber) {
        return step::star;
    }
    passPlaceholder(false);
    m_starCount = 0;
    return stepFor(kind);
}

/// A width below 0 stands for the flag "-" and a width, a precision below 0 for none.
void formatwriter::takeStar(long long number)
{
    constexpr long long greatest = std::numeric_limits<int>::max();
    const auto bounded = static_cast<int>(std::clamp(number, -greatest, greatest));
    m_stars[m_starCount++] = number;
    if (m_placeholder.asksWidth) {
        m_placeholder.asksWidth = false;
        m_placeholder.isLeft |= bounded < 0;
        m_placeholder.width = bounded < 0 ? -bounded : bounded;
    } else {
        m_placeholder.asksPrecision = false;
        m_placeholder.precision = bounded < 0 ? placeholder::none : bounded;
    }
}

/// An argument that was a width or a precision of nothing follows, too.
void formatwriter::writeRest()
{
    while (m_isOpen || open()) {
        passPlaceholder(true);
    }
    for (std::size_t i = 0; i < m_starCount; ++i) {
        keep(" ", 1);
        m_line << m_stars[i];
    }
}

bool formatwriter::open()
{
    m_isOpen = m_narrow ? open(m_narrow) : open(m_wide);
    return m_isOpen;
}

/// \return false when there is no placeholder: the whole rest was written. A percent sign that
///         begins none is text.
template <class char_t>
bool formatwriter::open(const char_t*& rest)
{
    std::size_t at = 0;
    while (const char_t* const mark = findPercent(rest + at, m_left - at)) {
        at = static_cast<std::size_t>(mark - rest);
        const std::size_t length = m_left - at;
        if (length > 1 && mark[1] == mark[0]) {
            pass(rest, at + 1, at + 2);
            at = 0;
            continue;
        }
        m_length = placeholderreader<char_t>(mark, length).read(m_placeholder);
        if (m_length != 0) {
            pass(rest, at, at);
            return true;
        }
        ++at;
    }
    pass(rest, m_left, m_left);
    return false;
}

/// Moves on in the format, and keeps the first characters of what is passed.
template <class char_t>
void formatwriter::pass(const char_t*& rest, std::size_t kept, std::size_t length)
{
    if (kept != 0) {
        keep(rest, kept);
    }
    rest += length;
    m_left -= length;
}

void formatwriter::passPlaceholder(bool isKept)
{
    const std::size_t kept = isKept ? m_length : 0;
    m_isOpen = false;
    if (m_narrow) {
        pass(m_narrow, kept, m_length);
    } else {
        pass(m_wide, kept, m_length);
    }
}

void formatwriter::keep(const wchar_t* text, std::size_t length)
{
    if (m_line.gathers()) {
        m_line.keepWide(text, length);
    } else {
        m_line.m_stream->write(text, static_cast<std::streamsize>(length));
    }
}

/// For ASCII characters only.
void formatwriter::keep(const char* text, std::size_t length)
{
    if (m_line.gathers()) {
        m_line.keepPlain(text, length);
        return;
    }
    constexpr std::size_t longestPiece = 64;
    wchar_t wide[longestPiece];
    for (std::size_t done = 0; done < length; done += longestPiece) {
        const std::size_t count = std::min(length - done, longestPiece);
        std::copy_n(text + done, count, wide);
        keep(wide, count);
    }
}

} // namespace tolvane
