#pragma once

/// What a traced function writes:
///
///     void store::load(const std::string& name)
///     {
///         TOLVANE_SCOPE(log);
///         TOLVANE_LOG(log, tl_info) << "loading " << name;
///         TOLVANE_LOGF(log, tl_debug, "%d items, %s", count, name);
///     }

#include <tolvane/string.h>
#include <tolvane/tracelevel.h>
#include <tolvane/traceobject.h>

#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

/// The compiler's text for the enclosing function.
#if defined(_MSC_VER)
#define TOLVANE_SIGNATURE __FUNCSIG__
#else
#define TOLVANE_SIGNATURE __PRETTY_FUNCTION__
#endif

/// Opens the enclosing function's scope stream under the given name.
#define TOLVANE_SCOPE(name)                                 \
    static const hashedfunction* name##_function = nullptr; \
    traceobject name(name##_function, TOLVANE_SIGNATURE)

/// One line at a level: TOLVANE_LOG(log, tl_info) << "text" << 42;
/// The line ends with the statement. When no sink takes the level (see traceobject::takes), no
/// operand is evaluated. The level is looked at twice: give it a plain value.
#define TOLVANE_LOG(name, level) \
    static_cast<void>(0),        \
        !(name).takes(level) ? (void)0 : tolvane::lineend() & tolvane::tracedline((name), (level))

/// One line at a level from a %-format and its arguments, each inserted as into a stream. The
/// character after a "%" is not interpreted; "%%" is written as it stands; an argument beyond the
/// placeholders is set off by a space; a placeholder without an argument writes nothing. When no
/// sink takes the level, no argument is evaluated.
#define TOLVANE_LOGF(name, level, ...) \
    (!(name).takes(level) ? (void)0 : tolvane::formatwriter::write((name), (level), __VA_ARGS__))

namespace tolvane {

/// Writes the text; honours width and fill like the standard strings.
inline std::wostream& operator<<(std::wostream& stream, const string& text)
{
    return stream << std::wstring_view(text.c_str(), static_cast<std::size_t>(text.length()));
}

/// A line that is ended when the object dies, at the end of its statement. Takes whatever the wide
/// stream takes, and narrow text, which is converted as by tolvane::string.
class tracedline
{
public:
    tracedline(traceobject& scope, tracelevel_t level) : m_scope(scope(level)) { repair(); }

    tracedline(const tracedline&) = delete;
    tracedline& operator=(const tracedline&) = delete;

    ~tracedline()
    {
        try {
            repair();
            m_scope.endLine();
        } catch (...) {
            // no memory for the line: it is dropped, the program goes on
        }
    }

    template <class value_t>
    tracedline& operator<<(const value_t& value)
    {
        using plain_t = std::decay_t<value_t>;
        if constexpr (std::is_same_v<plain_t, char*> || std::is_same_v<plain_t, const char*>) {
            insert(view<char>(value));
        } else if constexpr (std::is_same_v<plain_t, std::string> ||
                             std::is_same_v<plain_t, std::string_view>) {
            insert(value);
        } else if constexpr (std::is_same_v<plain_t, wchar_t*> ||
                             std::is_same_v<plain_t, const wchar_t*>) {
            m_scope << view<wchar_t>(value);
        } else if constexpr (isNumber<plain_t>) {
            insertNumber(value);
        } else {
            m_scope << value;
        }
        return *this;
    }

    tracedline& operator<<(std::wostream& (*manipulator)(std::wostream&))
    {
        manipulator(m_scope);
        return *this;
    }

    tracedline& operator<<(std::ios_base& (*manipulator)(std::ios_base&))
    {
        manipulator(m_scope);
        return *this;
    }

private:
    /// A value that failed to be written spoils its own line only.
    void repair()
    {
        if (!m_scope.good()) {
            m_scope.clear();
        }
    }

    /// Null is the empty text.
    template <class char_t>
    static std::basic_string_view<char_t> view(const char_t* text)
    {
        return text ? std::basic_string_view<char_t>(text) : std::basic_string_view<char_t>();
    }

    /// What the stream writes as an integer; it has other ways for truth values and characters.
    template <class value_t>
    static constexpr bool isNumber = std::is_integral_v<value_t> && sizeof(value_t) > 1 &&
                                     sizeof(value_t) <= sizeof(unsigned long long) &&
                                     !std::is_same_v<value_t, wchar_t>;

    void insert(std::string_view text) { m_scope.insertNarrow(text.data(), text.size()); }

    template <class number_t>
    void insertNumber(number_t number)
    {
        const bool negative = number < 0;
        const auto bits = static_cast<unsigned long long>(number);
        if (!m_scope.insertPlainNumber(negative, negative ? 0 - bits : bits)) {
            m_scope << number;
        }
    }

    traceobject& m_scope;
};

/// Makes a line an expression of no value, of lower precedence than its insertions.
struct lineend
{
    void operator&(const tracedline&) const noexcept {}
};

/// Writes typed arguments through a scope's %-format.
struct formatwriter
{
    template <class... values_t>
    static void write(traceobject& scope, tracelevel_t level, string format,
                      const values_t&... values)
    {
        tracedline line(scope, level);
        (writeValue(scope, line, format, values), ...);
        while (hasPlaceholder(format.c_str())) {
            scope.logtosplit(format);
        }
        line << format;
    }

private:
    template <class value_t>
    static void writeValue(traceobject& scope, tracedline& line, string& format,
                           const value_t& value)
    {
        if (!hasPlaceholder(format.c_str())) {
            line << format;
            format.erase(string::npos);
        }
        scope.logtosplit(format);
        line << value;
    }

    static bool hasPlaceholder(const wchar_t* format) noexcept
    {
        while (*format != 0 && !(format[0] == L'%' && format[1] != 0 && format[1] != L'%')) {
            format += format[0] == L'%' && format[1] == L'%' ? 2 : 1;
        }
        return *format != 0;
    }
};

} // namespace tolvane
