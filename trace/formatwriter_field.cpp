#include <tolvane/formatwriter.h>

#include "trace/insidelibrary.h"
#include "trace/numbertext.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tolvane {

namespace {

using flags_t = std::ios_base::fmtflags;

bool isOneOf(char kind, const char* kinds)
{
    return std::strchr(kinds, kind) != nullptr;
}

flags_t baseOf(char kind)
{
    return kind == 'o'           ? std::ios_base::oct
           : isOneOf(kind, "xX") ? std::ios_base::hex
                                 : std::ios_base::dec;
}

flags_t formOf(char kind)
{
    const auto usual = flags_t();
    const flags_t fixed = isOneOf(kind, "fFaA") ? std::ios_base::fixed : usual;
    const flags_t scientific = isOneOf(kind, "eEaA") ? std::ios_base::scientific : usual;
    return fixed | scientific;
}

/// The flags that make a stream write numbers as the placeholder says.
void setFlags(std::wostream& stream, const placeholder& how)
{
    stream.setf(baseOf(how.kind), std::ios_base::basefield);
    stream.setf(formOf(how.kind), std::ios_base::floatfield);
    if (isOneOf(how.kind, "XFEGA")) {
        stream.setf(std::ios_base::uppercase);
    }
    if (how.hasPlus) {
        stream.setf(std::ios_base::showpos);
    }
    if (how.isAlternative) {
        stream.setf(std::ios_base::showbase | std::ios_base::showpoint);
    }
    if (isOneOf(how.kind, "fFeEgGaA") && how.precision != placeholder::none) {
        stream.precision(std::min(how.precision, numbertext::most));
    }
}

bool isSign(wchar_t character)
{
    return character == L'-' || character == L'+';
}

} // namespace

formatwriter::field::field(formatwriter& writer)
    : m_line(writer.m_line),
      m_placeholder(writer.m_placeholder),
      m_stream(m_line.stream()),
      m_flags(m_stream.flags()),
      m_precision(m_stream.precision()),
      m_start(m_stream.m_line.length())
{
    setFlags(m_stream, m_placeholder);
}

formatwriter::field::~field()
{
    m_stream.flags(m_flags);
    m_stream.precision(m_precision);
    try {
        fit();
    } catch (const std::bad_alloc&) {
        m_line.cut();
    }
}

/// An inserter may have ended the line: then there is no field any more.
void formatwriter::field::fit()
{
    const unsigned long long end = m_stream.m_line.length();
    if (end < m_start) {
        return;
    }
    const auto written = static_cast<std::size_t>(end - m_start);
    const bool isCut = m_placeholder.kind == 's' && m_placeholder.precision != placeholder::none;
    const std::size_t length =
        isCut ? std::min(written, static_cast<std::size_t>(m_placeholder.precision)) : written;
    const auto width = static_cast<std::size_t>(std::min(m_placeholder.width, numbertext::most));
    const std::size_t padding = width > length ? width - length : 0;
    if (length != written || padding != 0) {
        replace(length, padding);
    }
}

/// Puts so many characters of what was written into the field.
void formatwriter::field::replace(std::size_t length, std::size_t padding)
{
    const insidelibrary inside;
    const string whole = m_stream.m_line;
    const wchar_t* const text = whole.c_str() + m_start;
    const bool isZeros = m_placeholder.hasZeros && !m_placeholder.isLeft &&
                         isOneOf(m_placeholder.kind, "diouxXfFeEgGaA");
    const std::size_t before = m_placeholder.isLeft                        ? length
                               : isZeros && length != 0 && isSign(text[0]) ? 1
                                                                           : 0;
    string fitted = whole.substr(0, m_start + before);
    std::fill_n(fitted.extend(padding), padding, isZeros ? L'0' : L' ');
    fitted.append(text + before, length - before);
    m_stream.m_line.swapText(fitted);
}

} // namespace tolvane
