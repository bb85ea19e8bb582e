#pragma once

#include <tolvane/export.h>
#include <tolvane/operands.h>
#include <tolvane/placeholder.h>
#include <tolvane/string.h>
#include <tolvane/tracedline.h>
#include <tolvane/tracelevel.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <type_traits>

class numbertext;

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Writes typed arguments through a %-format, see TOLVANE_LOGF.
///
/// What a plain placeholder asks for is gathered as what it is, as if it were inserted; the rest is
/// made text of at once.
class formatwriter
{
public:
    /// \param scope   a scope, or a stream of class traceobject.
    /// \param format  narrow or wide text that ends with a NUL, null being the empty text, or a
    ///                tolvane::string.
    template <class scope_t, class... values_t>
    static void write(scope_t& scope, tracelevel_t level, const char* format,
                      const values_t&... values)
    {
        writeThrough(scope, level, format, values...);
    }

    template <class scope_t, class... values_t>
    static void write(scope_t& scope, tracelevel_t level, const wchar_t* format,
                      const values_t&... values)
    {
        writeThrough(scope, level, format, values...);
    }

    template <class scope_t, class... values_t>
    static void write(scope_t& scope, tracelevel_t level, const string& format,
                      const values_t&... values)
    {
        writeThrough(scope, level, format.c_str(), values...);
    }

    /// \param given  the format, and the arguments.
    template <class scope_t, class... kept_t>
    static void write(scope_t& scope, tracelevel_t level, const operands<kept_t...>& given)
    {
        given.passTo([&](const auto&... all) { formatwriter::write(scope, level, all...); });
    }

    formatwriter(const formatwriter&) = delete;
    formatwriter& operator=(const formatwriter&) = delete;

private:
    /// What a placeholder can do with an argument.
    enum class argument
    {
        integer,
        unsignedInteger,
        character,
        real,
        text,
        textPointer, ///< a text, or its address
        address,     ///< which the line gathers
        pointer,     ///< an address, or what an inserter makes of it
        other        ///< what only an inserter knows
    };

    /// What becomes of an argument.
    enum class step
    {
        insert,  ///< as by the stream's operator
        convert, ///< as the placeholder says
        star,    ///< is a width or a precision
        omit     ///< is not written
    };

    /// Lets an inserter write into a placeholder's field.
    class field
    {
    public:
        TOLVANE_EXPORT explicit field(formatwriter& writer);
        TOLVANE_EXPORT ~field();

        field(const field&) = delete;
        field& operator=(const field&) = delete;

    private:
        void fit();
        void replace(std::size_t length, std::size_t padding);

        tracedline& m_line;
        const placeholder m_placeholder;
        traceobject& m_stream;
        const std::ios_base::fmtflags m_flags; ///< of the stream before
        const std::streamsize m_precision;     ///< the same
        const unsigned long long m_start;      ///< where in the stream's line the field begins
    };

    template <class value_t>
    static constexpr bool isCharacter =
        std::is_same_v<value_t, char> || std::is_same_v<value_t, wchar_t>;

    template <class value_t>
    static constexpr bool isInteger = std::is_integral_v<value_t> && !isCharacter<value_t>;

    /// An array, or a pointer, of characters of this kind.
    template <class char_t, class value_t>
    static constexpr bool isTextPointer =
        tracedline::isArray<char_t, value_t> || tracedline::isHead<char_t, value_t> ||
        std::is_same_v<value_t, char_t*> || std::is_same_v<value_t, const char_t*>;

    /// A text of its own that knows its length.
    template <class char_t, class value_t>
    static constexpr bool isCountedText =
        tracedline::isText<char_t, value_t> && !std::is_pointer_v<value_t>;

    template <class value_t>
    static constexpr argument kindOf()
    {
        if constexpr (isCharacter<value_t>) {
            return argument::character;
        } else if constexpr (std::is_integral_v<value_t>) {
            return std::is_signed_v<value_t> ? argument::integer : argument::unsignedInteger;
        } else if constexpr (std::is_floating_point_v<value_t>) {
            return argument::real;
        } else if constexpr (isTextPointer<char, value_t> || isTextPointer<wchar_t, value_t> ||
                             tracedline::isBytes<std::decay_t<value_t>>) {
            return argument::textPointer;
        } else if constexpr (isCountedText<char, value_t> || isCountedText<wchar_t, value_t> ||
                             std::is_same_v<value_t, string>) {
            return argument::text;
        } else if constexpr (tracedline::isAddress<value_t>) {
            return argument::address;
        } else if constexpr (std::is_pointer_v<value_t> || std::is_null_pointer_v<value_t>) {
            return argument::pointer;
        } else {
            return argument::other;
        }
    }

    TOLVANE_EXPORT formatwriter(tracedline& line, const char* format);
    TOLVANE_EXPORT formatwriter(tracedline& line, const wchar_t* format);
    ~formatwriter()
    {
        if (m_owned) {
            release();
        }
    }

    template <class scope_t, class char_t, class... values_t>
    static void writeThrough(scope_t& scope, tracelevel_t level, const char_t* format,
                             const values_t&... values)
    {
        tracedline line(scope, level);
        formatwriter writer(line, format);
        (writer.writeValue(values), ...);
        writer.writeRest();
    }

    template <class value_t>
    void writeValue(const value_t& value)
    {
        using plain_t = std::remove_cv_t<value_t>;
        switch (begin(kindOf<plain_t>())) {
        case step::insert:
            insert(value);
            break;
        case step::convert:
            convert<plain_t>(value);
            break;
        case step::star:
            if constexpr (isInteger<plain_t>) {
                takeStar(static_cast<long long>(value));
            }
            break;
        case step::omit:
            break;
        }
    }

    /// Whether an array can change is not known here.
    template <class value_t>
    void insert(const value_t& value)
    {
        if constexpr (tracedline::isArray<char, value_t>) {
            m_line.insertArray(value, std::extent_v<value_t>);
        } else {
            m_line << value;
        }
    }

    template <class plain_t, class value_t>
    void convert(const value_t& value)
    {
        if constexpr (isCharacter<plain_t>) {
            convertCharacter(value);
        } else if constexpr (std::is_same_v<plain_t, bool>) {
            convertUnsigned(value ? 1U : 0U);
        } else if constexpr (std::is_integral_v<plain_t> && std::is_signed_v<plain_t>) {
            convertSigned(value, sizeof value);
        } else if constexpr (std::is_integral_v<plain_t>) {
            convertUnsigned(value);
        } else if constexpr (std::is_same_v<plain_t, long double>) {
            convertReal(static_cast<long double>(value));
        } else if constexpr (std::is_floating_point_v<plain_t>) {
            convertReal(static_cast<double>(value));
        } else if constexpr (isTextPointer<char, plain_t> || isTextPointer<wchar_t, plain_t>) {
            convertTextPointer(value, std::extent_v<plain_t>);
        } else if constexpr (tracedline::isBytes<std::decay_t<plain_t>>) {
            convertTextPointer(reinterpret_cast<const char*>(value), std::extent_v<plain_t>);
        } else if constexpr (std::is_same_v<plain_t, string>) {
            convertText(value.c_str(), static_cast<std::size_t>(value.length()));
        } else if constexpr (kindOf<plain_t>() == argument::text) {
            convertText(value.data(), value.size());
        } else if constexpr (kindOf<plain_t>() == argument::other) {
            convertOther(value);
        } else {
            convertPointer(value);
        }
    }

    /// \param size  of its array; a pointer has none, and the text is one that ends with a NUL.
    template <class char_t>
    void convertTextPointer(const char_t* text, std::size_t size)
    {
        constexpr std::size_t longestHead = tracedline::longestHead;
        if (m_placeholder.kind == 'p') {
            convertPointer(text);
        } else {
            convertText(text ? text : nothing<char_t>, size > longestHead ? size : unlimited);
        }
    }

    template <class value_t>
    void convertPointer(const value_t& value)
    {
        if (m_placeholder.kind != 'p' && kindOf<value_t>() == argument::pointer) {
            convertOther(value);
        } else if constexpr (std::is_null_pointer_v<value_t>) {
            convertAddress(0);
        } else {
            convertAddress(reinterpret_cast<std::uintptr_t>(value));
        }
    }

    template <class value_t>
    void convertOther(const value_t& value)
    {
        const field place(*this);
        m_line << value;
    }

    TOLVANE_EXPORT void release() noexcept;

    /// Writes the format up to the next placeholder, or a space when there is none.
    TOLVANE_EXPORT step begin(argument kind);

    // What stands in a placeholder's field. A text is one up to its first NUL, if there is any.
    TOLVANE_EXPORT void takeStar(long long number);
    TOLVANE_EXPORT void convertSigned(long long value, std::size_t size);
    TOLVANE_EXPORT void convertUnsigned(unsigned long long value);
    TOLVANE_EXPORT void convertCharacter(char character);
    TOLVANE_EXPORT void convertCharacter(wchar_t character);
    TOLVANE_EXPORT void convertReal(double value);
    TOLVANE_EXPORT void convertReal(long double value);
    TOLVANE_EXPORT void convertAddress(std::uintptr_t address);
    TOLVANE_EXPORT void convertText(const char* text, std::size_t longest);
    TOLVANE_EXPORT void convertText(const wchar_t* text, std::size_t longest);

    /// Writes what is left of the format as it stands.
    TOLVANE_EXPORT void writeRest();

    void convert();
    step stepFor(argument kind);
    bool isPlainFor(argument kind);
    bool open();
    template <class char_t>
    bool open(const char_t*& rest);
    template <class char_t>
    void pass(const char_t*& rest, std::size_t kept, std::size_t length);
    void passPlaceholder(bool isKept);
    void keep(const char* text, std::size_t length);
    void keep(const wchar_t* text, std::size_t length);
    void keepSeveral(char character, std::size_t count);
    bool isOf(const char* kinds) const noexcept;
    void suit(const char* kinds, char otherwise);
    void convertInteger(unsigned long long bits, bool isNegative);
    template <class real_t>
    void convertAnyReal(real_t value);
    void writeNumber(const numbertext& number);
    void writeDigits(std::string_view digits);
    void writeConverted(const char* text, std::size_t length);
    template <class char_t>
    void writeText(const char_t* text, std::size_t length);
    std::size_t padding(std::size_t length) const noexcept;
    std::size_t limit(std::size_t longest) const noexcept;

    static constexpr std::size_t unlimited = static_cast<std::size_t>(-1);

    template <class char_t>
    static constexpr char_t nothing[1] = {};

    tracedline& m_line;
    const char* m_narrow = nullptr;  ///< the rest of the format, plain text; or null
    const wchar_t* m_wide = nullptr; ///< the rest of it otherwise
    std::size_t m_left = 0;          ///< characters of it
    string* m_owned = nullptr;       ///< the format, converted
    bool m_isOpen = false;           ///< that rest begins with the placeholder
    placeholder m_placeholder;       ///< the next one, or the one that is being written
    std::size_t m_length = 0;        ///< its characters
    long long m_stars[2] = {};       ///< the arguments that it took for its "*"
    std::size_t m_starCount = 0;
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
