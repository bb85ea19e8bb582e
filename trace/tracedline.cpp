#include <tolvane/tracedline.h>

#include "support/coldpath.h"
#include "support/narrowtext.h"
#include "trace/globallocale.h"
#include "trace/insidelibrary.h"
#include "trace/operands.h"
#include "trace/traceimpl.h"

#include <algorithm>
#include <cfenv>
#include <cstdint>
#include <locale>
#include <new>

namespace tolvane {

namespace {

/// Characters of a wide text that are looked through for a NUL at a time, as by the stream.
constexpr std::size_t longestStretch = 0xA00000;

/// Counts of characters have 32 bits; longer texts are kept in pieces.
constexpr std::size_t longestPiece = 0x40000000;

/// Calls with the value that was given to the line, of the type that it had.
template <class visitor_t>
void withValue(operand kind, unsigned long long bits, const visitor_t& visitor)
{
    switch (kind) {
    case operand::truth:
        return visitor(bits != 0);
    case operand::character:
        return visitor(static_cast<char>(bits));
    case operand::shortInteger:
        return visitor(static_cast<short>(bits));
    case operand::unsignedShort:
        return visitor(static_cast<unsigned short>(bits));
    case operand::integer:
        return visitor(static_cast<int>(bits));
    case operand::unsignedInteger:
        return visitor(static_cast<unsigned int>(bits));
    case operand::longInteger:
        return visitor(static_cast<long>(bits));
    case operand::unsignedLong:
        return visitor(static_cast<unsigned long>(bits));
    case operand::longLong:
        return visitor(static_cast<long long>(bits));
    case operand::unsignedLongLong:
        return visitor(bits);
    case operand::pointer:
        return visitor(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(bits)));
    default:
        return;
    }
}

/// The stream's inserter for characters ends the line at these, and leaves a NUL out.
bool endsLine(wchar_t character)
{
    using traits_t = std::char_traits<wchar_t>;
    return character == 0 || character == L'\n' || character == L'\r' ||
           traits_t::eq_int_type(traits_t::to_int_type(character), traits_t::eof());
}

bool isKept(char character)
{
    return plaintext::isPlain(character) && !endsLine(static_cast<wchar_t>(character));
}

string convert(const char* text, std::size_t length)
{
    const insidelibrary inside;
    return narrowtext::widened(text, length);
}

/// As std::quoted does it.
template <class char_t>
std::basic_string<char_t> quoted(std::basic_string_view<char_t> text)
{
    constexpr char_t mark = '"';
    constexpr char_t escape = '\\';
    const insidelibrary inside;
    std::basic_string<char_t> result(1, mark);
    for (const char_t character : text) {
        if (character == mark || character == escape) {
            result += escape;
        }
        result += character;
    }
    return result += mark;
}

/// In another mode, which belongs to the thread, the digits of a number may differ.
bool roundsAsUsual()
{
    return std::fegetround() == FE_TONEAREST;
}

} // namespace

tracedline::tracedline(traceobject& stream, tracelevel_t level) : m_scope(nullptr), m_level(level)
{
    enter(stream);
    stream.repair();
}

/// The line of a scope whose stream is built already, or the first line of a scope.
void tracedline::begin()
{
    if (m_scope->m_stream) {
        traceobject& built = (*m_scope->m_stream)(m_level);
        built.repair();
        if (!built.isDispensable()) {
            enter(built);
        }
    } else if (isGlobalLocaleClassic()) {
        m_scope->m_plain = true;
        m_scope->m_lineLevel = m_level;
    } else {
        stream();
    }
}

/// Whether what is inserted now is gathered. An operand may have used the scope's stream before it
/// gave its value.
bool tracedline::gathers()
{
    if (!m_stream && m_scope->m_stream && !m_scope->m_stream->isAsBuilt()) {
        goOnIn(*m_scope->m_stream);
    }
    return !m_stream;
}

traceobject& tracedline::stream()
{
    if (!m_stream) {
        goOnIn(m_scope->stream());
    }
    return *m_stream;
}

/// Text of the line that this one is within an operand of stays where it is, and what manipulators
/// of that line set does not hold for this one.
void tracedline::enter(traceobject& stream)
{
    const bool isWithinLine = stream.m_traced != nullptr;
    goOnIn(stream);
    if (isWithinLine) {
        m_visit.waiting = stream.m_line.length();
    }
}

void tracedline::setFormat(const visit& as) const
{
    m_stream->flags(as.flags);
    m_stream->width(as.width);
    m_stream->precision(as.precision);
    m_stream->fill(as.fill);
}

/// What was gathered goes in front of what waits there for its line end: that came later.
TOLVANE_COLD void tracedline::goOnIn(traceobject& stream)
{
    const insidelibrary inside;
    m_stream = &stream;
    const std::streamsize width = stream.m_traced ? stream.width() : 0; // else the line uses it
    m_visit = {stream.m_traced, 0, stream.flags(), width, stream.precision(), stream.fill()};
    stream.m_traced = this;
    if (const tracedline* outermost = m_visit.outer) {
        while (outermost->m_visit.outer) {
            outermost = outermost->m_visit.outer;
        }
        setFormat(outermost->m_visit);
    }
    const unsigned char* const operands = m_heap ? m_heap : m_buffer;
    if (m_end != operands) {
        try {
            tolvane::string text;
            operandreader reader;
            reader.append(text, operands, static_cast<std::size_t>(m_end - operands));
            stream.prepend(text);
        } catch (const std::bad_alloc&) {
            m_cut = true;
        }
    }
    m_limit = m_end;
    stream(m_level);
    if (m_cut) {
        stream.setstate(std::ios_base::badbit);
    }
}

void tracedline::insertElsewhere(operand kind, unsigned long long bits)
{
    const auto character = static_cast<char>(bits);
    const bool isCharacter = kind == operand::character;
    if (isCharacter && !plaintext::isPlain(character) && character != 0) {
        insertNarrow(&character, 1);
    } else if (!gathers() || (isCharacter && !isKept(character))) {
        withValue(kind, bits, [this](auto value) { stream() << value; });
    } else if (isCharacter) {
        keepPlain(&character, 1);
    } else {
        withValue(kind, bits, [this, kind](auto value) {
            const auto kept = +value; // what is shorter than an int is kept as one
            keep(kind, &kept, sizeof kept);
        });
    }
}

void tracedline::insertReal(double value)
{
    if (gathers() && roundsAsUsual()) {
        keep(operand::real, &value, sizeof value);
    } else {
        stream() << value;
    }
}

void tracedline::insertReal(long double value)
{
    if (gathers() && roundsAsUsual()) {
        keep(operand::longReal, &value, sizeof value);
    } else {
        stream() << value;
    }
}

void tracedline::insertArray(const char* text, std::size_t size)
{
    const void* const end = std::memchr(text, 0, size);
    insertNarrow(text, end ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : size);
}

void tracedline::insertNarrow(const char* text, std::size_t length)
{
    if (!gathers()) {
        insertNarrowInStream(text, length);
        return;
    }
    const char* const end = plaintext::findOdd(text, length);
    const auto plain = static_cast<std::size_t>(end - text);
    if (plain == length || *end == 0) {
        keepPlain(text, plain);
    } else {
        keepConverted(text, length);
    }
}

TOLVANE_COLD void tracedline::insertNarrowInStream(const char* text, std::size_t length)
{
    try {
        m_stream->insertNarrow(text, length);
    } catch (const std::bad_alloc&) {
        cut();
    }
}

/// Text beyond ASCII is converted now, since the locale may be another one later.
TOLVANE_COLD void tracedline::keepConverted(const char* text, std::size_t length)
{
    if (insidelibrary::isEntered()) {
        cut();
        return;
    }
    try {
        const string converted = convert(text, length);
        keepWide(converted.c_str(), static_cast<std::size_t>(converted.length()));
    } catch (const std::bad_alloc&) {
        cut();
    }
}

void tracedline::insertArray(const wchar_t* text, std::size_t size)
{
    const wchar_t* const end = std::wmemchr(text, 0, size);
    insertWide(text, end ? static_cast<std::size_t>(end - text) : size);
}

/// A NUL ends the text, in each stretch of it.
void tracedline::insertWide(const wchar_t* text, std::size_t length)
{
    if (!gathers()) {
        *m_stream << std::wstring_view(text, length);
        return;
    }
    for (std::size_t done = 0; done < length; done += longestStretch) {
        const std::size_t size = std::min(length - done, longestStretch);
        const wchar_t* const end = std::wmemchr(text + done, 0, size);
        keepWide(text + done, end ? static_cast<std::size_t>(end - text) - done : size);
    }
}

TOLVANE_COLD void tracedline::insertQuoted(const char* text, std::size_t length)
{
    insertText(quoted(std::string_view(text, length)));
}

TOLVANE_COLD void tracedline::insertQuoted(const wchar_t* text, std::size_t length)
{
    insertWide(quoted(std::wstring_view(text, length)));
}

void tracedline::insertWideCharacter(wchar_t character)
{
    if (gathers() && !endsLine(character)) {
        keepWide(&character, 1);
    } else {
        stream() << character;
    }
}

/// Without memory nothing more of the line is kept. Who interrupts the library gets none.
void tracedline::cut()
{
    m_cut = true;
    m_limit = m_end;
    if (m_stream) {
        m_stream->setstate(std::ios_base::badbit);
    }
}

bool tracedline::makeRoom(std::size_t size) noexcept
{
    return !m_cut && (static_cast<std::size_t>(m_limit - m_end) >= size || grow(size));
}

TOLVANE_COLD bool tracedline::grow(std::size_t size) noexcept
{
    const bool isInterrupting = insidelibrary::isEntered();
    const insidelibrary inside;
    const unsigned char* const operands = m_heap ? m_heap : m_buffer;
    const auto used = static_cast<std::size_t>(m_end - operands);
    const std::size_t grown = 2 * (used + size);
    auto* const heap = isInterrupting ? nullptr : new (std::nothrow) unsigned char[grown];
    if (!heap) {
        m_cut = true;
        m_limit = m_end;
        return false;
    }
    std::memcpy(heap, operands, used);
    delete[] m_heap;
    m_heap = heap;
    m_end = heap + used;
    m_limit = heap + grown;
    return true;
}

void tracedline::keep(operand kind, const void* value, std::size_t size)
{
    if (makeRoom(1 + size)) {
        *m_end = static_cast<unsigned char>(kind);
        std::memcpy(m_end + 1, value, size);
        m_end += 1 + size;
    }
}

void tracedline::keepCounted(operand kind, const void* text, std::size_t count, std::size_t size)
{
    const auto shortCount = static_cast<std::uint32_t>(count);
    if (makeRoom(1 + sizeof shortCount + size)) {
        *m_end = static_cast<unsigned char>(kind);
        std::memcpy(m_end + 1, &shortCount, sizeof shortCount);
        std::memcpy(m_end + 1 + sizeof shortCount, text, size);
        m_end += 1 + sizeof shortCount + size;
    }
}

void tracedline::keepPlain(const char* text, std::size_t length)
{
    if (length == 0) {
        return; // the text may be null
    }
    if (length <= longestShortText) {
        const std::size_t kind = static_cast<std::size_t>(operand::shortText) | length;
        keep(static_cast<operand>(kind), text, length);
        return;
    }
    for (std::size_t done = 0; done < length; done += longestPiece) {
        const std::size_t size = std::min(length - done, longestPiece);
        keepCounted(operand::text, text + done, size, size);
    }
}

void tracedline::keepWide(const wchar_t* text, std::size_t length)
{
    if (length != 0) {
        keepCounted(operand::wideText, text, length, length * sizeof *text);
    }
}

/// The stream is as it was before the line, and goes on with the line that this one is within.
TOLVANE_COLD void tracedline::leave()
{
    (*m_stream)(m_level); // an operand may have traced at another one
    m_stream->repair();
    setFormat(m_visit);
    m_stream->m_traced = m_visit.outer;
    m_stream->endLineBehind(m_visit.waiting);
}

/// A line end that was written to the stream itself has taken the text of all lines along.
void tracedline::forgetWaiting() noexcept
{
    for (tracedline* line = this; line; line = line->m_visit.outer) {
        line->m_visit.waiting = 0;
    }
}

/// What is not a want of memory ends the process: it must not be taken for one.
void tracedline::end() noexcept
{
    try {
        if (m_stream) {
            leave();
        } else {
            const unsigned char* const operands = m_heap ? m_heap : m_buffer;
            safesingleton<traceimpl>::instance().queueOperands(
                m_level, *m_scope->m_function, operands,
                static_cast<std::size_t>(m_end - operands));
        }
    } catch (const std::bad_alloc&) {
        // the line is dropped
    }
    traceobject* const stream = m_stream ? m_stream : m_scope->m_stream;
    if (stream && stream->m_traced) {
        (*stream)(stream->m_traced->m_level);
    }
    if (m_heap) {
        const insidelibrary inside;
        delete[] m_heap;
    }
}

} // namespace tolvane
