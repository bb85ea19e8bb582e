#pragma once

#include <tolvane/export.h>
#include <tolvane/inserters.h>
#include <tolvane/narrowstream.h>
#include <tolvane/operand.h>
#include <tolvane/pathname.h>
#include <tolvane/scopestream.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>
#include <tolvane/traceobject.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// A line that is ended when the object dies, at the end of its statement. Takes whatever a wide
/// stream takes, whatever a narrow one takes, paths, which are quoted as by streams, and narrow
/// text. Of that each character is converted in the current locale (LC_CTYPE) of the process; what
/// cannot be converted is a "?".
///
/// Numbers, characters, pointers and text are gathered as what they are, and handed over at the end
/// of the line: whoever writes it makes text of them. Whatever may depend on more than its value is
/// written by the scope's stream at once: what has an inserter of the application's, what comes
/// behind a manipulator, in a locale of the application's, or in another mode of rounding. Then all
/// that was gathered goes there, too, and what follows on the line. The line's text is the same
/// either way. What manipulators set ends with the line.
///
/// Lives within one statement of one thread; an operand may trace lines of its own. Throws what an
/// inserter throws that it was given; without memory the line ends where it was, or is dropped.
class tracedline
{
    /// Characters; a text array of so few is the head of a text that goes on behind it.
    static constexpr std::size_t longestHead = 1;

    template <class value_t>
    static constexpr bool isNumber = std::is_arithmetic_v<value_t> || std::is_enum_v<value_t>;

public:
    tracedline(scopestream& scope, tracelevel_t level) : m_scope(&scope), m_level(level)
    {
        if (scope.m_plain) {
            scope.m_lineLevel = level;
        } else {
            begin();
        }
    }

    /// A line of a stream that may be derived from traceobject: all of it goes through the stream.
    TOLVANE_EXPORT tracedline(traceobject& stream, tracelevel_t level);

    tracedline(const tracedline&) = delete;
    tracedline& operator=(const tracedline&) = delete;

    ~tracedline() { end(); }

    template <class value_t, std::enable_if_t<!isNumber<value_t>, int> = 0>
    tracedline& operator<<(const value_t& value)
    {
        insert(value);
        return *this;
    }

    /// By value, so that a constant needs no definition.
    template <class value_t, std::enable_if_t<isNumber<value_t>, int> = 0>
    tracedline& operator<<(value_t value)
    {
        insert(value);
        return *this;
    }

    /// An array that can still change is a buffer, most often with a short text in it.
    template <std::size_t size, std::enable_if_t<(size > longestHead), int> = 0>
    tracedline& operator<<(char (&text)[size])
    {
        insertArray(text, size);
        return *this;
    }

    tracedline& operator<<(std::wostream& (*manipulator)(std::wostream&))
    {
        manipulator(stream());
        return *this;
    }

    tracedline& operator<<(std::ios_base& (*manipulator)(std::ios_base&))
    {
        manipulator(stream());
        return *this;
    }

private:
    friend class formatwriter;
    friend class ::traceobject;

    /// Enough for all but few lines; longer ones go on on the heap.
    static constexpr std::size_t bufferSize = 256;

    /// An array whose text ends within it.
    template <class char_t, class value_t>
    static constexpr bool isArray = std::is_same_v<std::remove_extent_t<value_t>, char_t> &&
                                    (std::extent_v<value_t> > longestHead);

    /// An array of unknown length, or one that declares the head of a longer text.
    template <class char_t, class value_t>
    static constexpr bool
        isHead = std::is_same_v<std::remove_extent_t<value_t>, char_t>&& std::is_array_v<value_t> &&
                 (std::extent_v<value_t> <= longestHead);

    /// What is written as a text of these characters.
    template <class char_t, class value_t>
    static constexpr bool isText =
        std::is_same_v<value_t, char_t*> || std::is_same_v<value_t, const char_t*> ||
        std::is_same_v<value_t, std::basic_string<char_t>> ||
        std::is_same_v<value_t, std::basic_string_view<char_t>>;

    /// Text, too, to every stream.
    template <class value_t>
    static constexpr bool isBytes =
        std::is_pointer_v<value_t> &&
        (std::is_same_v<std::remove_const_t<std::remove_pointer_t<value_t>>, unsigned char> ||
         std::is_same_v<std::remove_const_t<std::remove_pointer_t<value_t>>, signed char>);

    /// A pointer that the stream writes as an address. An inserter of the application's is not
    /// found for it.
    template <class value_t>
    static constexpr bool isAddress =
        !std::is_volatile_v<std::remove_pointer_t<value_t>> && std::is_pointer_v<value_t> &&
        std::is_fundamental_v<std::remove_pointer_t<value_t>> && !isText<char, value_t> &&
        !isText<wchar_t, value_t>;

    /// What the stream writes as an integer, or none.
    template <class value_t>
    static constexpr operand integer = operand::none;

    template <class value_t>
    void insert(const value_t& value)
    {
        using plain_t = std::remove_cv_t<value_t>;
        if constexpr (isArray<char, value_t>) {
            insertLiteral(value, std::extent_v<value_t>);
        } else if constexpr (isArray<wchar_t, value_t>) {
            insertArray(value, std::extent_v<value_t>);
        } else if constexpr (isArray<unsigned char, value_t> || isArray<signed char, value_t>) {
            insertArray(reinterpret_cast<const char*>(value), std::extent_v<value_t>);
        } else if constexpr (isHead<char, value_t>) {
            insertText(static_cast<const char*>(value));
        } else if constexpr (isHead<wchar_t, value_t>) {
            insertWide(static_cast<const wchar_t*>(value));
        } else if constexpr (isText<char, plain_t>) {
            insertText(value);
        } else if constexpr (isText<wchar_t, plain_t>) {
            insertWide(value);
        } else if constexpr (isBytes<std::decay_t<plain_t>>) {
            insertText(reinterpret_cast<const char*>(value));
        } else if constexpr (std::is_same_v<plain_t, string>) {
            insertWide(value.c_str(), static_cast<std::size_t>(value.length()));
        } else if constexpr (std::is_same_v<plain_t, char>) {
            insertCharacter(value);
        } else if constexpr (std::is_same_v<plain_t, wchar_t>) {
            insertWideCharacter(value);
        } else if constexpr (std::is_same_v<plain_t, float> || std::is_same_v<plain_t, double>) {
            insertReal(static_cast<double>(value));
        } else if constexpr (std::is_same_v<plain_t, long double>) {
            insertReal(static_cast<long double>(value));
        } else if constexpr (isAddress<plain_t>) {
            insertBits(operand::pointer, reinterpret_cast<std::uintptr_t>(value));
        } else if constexpr (integer<plain_t> != operand::none) {
            insertBits(integer<plain_t>, +value);
        } else {
            insertInStream(value);
        }
    }

    /// What a stream has to make text of.
    template <class value_t>
    void insertInStream(const value_t& value)
    {
        static_assert(isPath<value_t> || isForStreams<value_t>,
                      "this operand of a traced line has no operator<<, neither for std::wostream "
                      "nor for std::ostream");
        if constexpr (isPath<value_t>) {
            insertQuoted(value.native().data(), value.native().size());
        } else if constexpr (isForNarrowStreams<value_t>) {
            narrowstream narrow(stream());
            narrow.stream() << value;
            narrow.handOver();
        } else if constexpr (isForStreams<value_t>) {
            stream() << value;
        }
    }

    /// The usual case of all that is inserted: nothing has built a stream, and there is room.
    bool hasRoom(std::size_t size) const noexcept
    {
        return static_cast<std::size_t>(m_limit - m_end) >= size && m_scope->m_plain;
    }

    template <class bits_t>
    void insertBits(operand kind, bits_t bits)
    {
        if (hasRoom(1 + sizeof bits)) {
            *m_end = static_cast<unsigned char>(kind);
            std::memcpy(m_end + 1, &bits, sizeof bits);
            m_end += 1 + sizeof bits;
        } else {
            insertElsewhere(kind, static_cast<unsigned long long>(bits));
        }
    }

    /// Line ends are not kept: given as a character they end the line.
    void insertCharacter(char character)
    {
        if (plaintext::isPlain(character) && character != '\n' && character != '\r' && hasRoom(2)) {
            m_end[0] = static_cast<unsigned char>(operand::shortText) + 1;
            m_end[1] = static_cast<unsigned char>(character);
            m_end += 2;
        } else {
            insertElsewhere(operand::character, static_cast<unsigned char>(character));
        }
    }

    /// Null is the empty text.
    void insertText(const char* text) { insertText(text, text ? std::strlen(text) : 0); }
    void insertText(std::string_view text) { insertText(text.data(), text.size()); }

    void insertText(const char* text, std::size_t length)
    {
        if (!keepText(text, length)) {
            insertNarrow(text, length);
        }
    }

    /// A literal is as long as its array but for the NUL at the end; other arrays that cannot
    /// change may hold shorter texts.
    void insertLiteral(const char* text, std::size_t size)
    {
        if (text[size - 1] != 0 || !keepText(text, size - 1)) {
            insertArray(text, size);
        }
    }

    bool keepText(const char* text, std::size_t length)
    {
        if (length > longestShortText || !hasRoom(1 + length) ||
            !plaintext::copy(m_end + 1, text, length)) {
            return false;
        }
        *m_end = static_cast<unsigned char>(static_cast<std::size_t>(operand::shortText) | length);
        m_end += 1 + length;
        return true;
    }

    void insertWide(const wchar_t* text) { insertWide(text, text ? std::wcslen(text) : 0); }
    void insertWide(std::wstring_view text) { insertWide(text.data(), text.size()); }

    // For what has no room, or is not as plain as most; they know whether the line is still
    // gathered.
    TOLVANE_EXPORT void begin();
    TOLVANE_EXPORT void insertElsewhere(operand kind, unsigned long long bits);
    TOLVANE_EXPORT void insertNarrow(const char* text, std::size_t length);
    TOLVANE_EXPORT void insertArray(const char* text, std::size_t size);
    TOLVANE_EXPORT void insertReal(double value);
    TOLVANE_EXPORT void insertReal(long double value);
    TOLVANE_EXPORT void insertWide(const wchar_t* text, std::size_t length);
    TOLVANE_EXPORT void insertArray(const wchar_t* text, std::size_t size);
    TOLVANE_EXPORT void insertWideCharacter(wchar_t character);
    TOLVANE_EXPORT void insertQuoted(const char* text, std::size_t length);
    TOLVANE_EXPORT void insertQuoted(const wchar_t* text, std::size_t length);

    /// From here on the line goes through the stream.
    TOLVANE_EXPORT traceobject& stream();

    /// Hands the line over.
    TOLVANE_EXPORT void end() noexcept;

    bool gathers();
    void goOnIn(traceobject& stream);
    void cut();
    bool makeRoom(std::size_t size) noexcept;
    bool grow(std::size_t size) noexcept;
    void keep(operand kind, const void* value, std::size_t size);
    void keepCounted(operand kind, const void* text, std::size_t count, std::size_t size);
    void keepPlain(const char* text, std::size_t length);
    void keepWide(const wchar_t* text, std::size_t length);
    void keepConverted(const char* text, std::size_t length);
    void insertNarrowInStream(const char* text, std::size_t length);
    void enter(traceobject& stream);
    void leave();
    void forgetWaiting() noexcept;

    /// What becomes of the stream while the line goes through it.
    struct visit
    {
        tracedline* outer;             ///< the line that this one is within an operand of, or null
        unsigned long long waiting;    ///< characters of that line in the stream
        std::ios_base::fmtflags flags; // as they were, and will be again; so the rest
        std::streamsize width;
        std::streamsize precision;
        wchar_t fill;
    };

    void setFormat(const visit& as) const;

    scopestream* const m_scope;                     ///< null when the line was given a stream
    traceobject* m_stream = nullptr;                ///< once the line goes through the stream
    unsigned char* m_end = m_buffer;                ///< where the next operand goes
    unsigned char* m_limit = m_buffer + bufferSize; ///< m_end when nothing is gathered any more
    unsigned char* m_heap = nullptr;                ///< owned; what the buffer has no room for
    const tracelevel_t m_level;
    bool m_cut = false;                 ///< there was no memory: what follows is left out
    visit m_visit;                      ///< once the line goes through the stream
    unsigned char m_buffer[bufferSize]; ///< the operands one behind the other
};

template <>
inline constexpr operand tracedline::integer<bool> = operand::truth;
template <>
inline constexpr operand tracedline::integer<signed char> = operand::integer;
template <>
inline constexpr operand tracedline::integer<unsigned char> = operand::integer;
template <>
inline constexpr operand tracedline::integer<char16_t> = operand::integer;
template <>
inline constexpr operand tracedline::integer<char32_t> = operand::unsignedInteger;
template <>
inline constexpr operand tracedline::integer<short> = operand::shortInteger;
template <>
inline constexpr operand tracedline::integer<unsigned short> = operand::unsignedShort;
template <>
inline constexpr operand tracedline::integer<int> = operand::integer;
template <>
inline constexpr operand tracedline::integer<unsigned int> = operand::unsignedInteger;
template <>
inline constexpr operand tracedline::integer<long> = operand::longInteger;
template <>
inline constexpr operand tracedline::integer<unsigned long> = operand::unsignedLong;
template <>
inline constexpr operand tracedline::integer<long long> = operand::longLong;
template <>
inline constexpr operand tracedline::integer<unsigned long long> = operand::unsignedLongLong;

/// Makes a line an expression of no value, of lower precedence than its insertions.
struct novalue
{
    void operator&(const tracedline&) const noexcept {}
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
