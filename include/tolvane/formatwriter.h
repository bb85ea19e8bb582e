#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracedline.h>
#include <tolvane/tracelevel.h>

#include <cstddef>
#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Writes typed arguments through a %-format, see TOLVANE_LOGF.
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

    formatwriter(const formatwriter&) = delete;
    formatwriter& operator=(const formatwriter&) = delete;

private:
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

    /// Whether an array can change is not known here.
    template <class value_t>
    void writeValue(const value_t& value)
    {
        writePiece();
        if constexpr (tracedline::isArray<char, value_t>) {
            m_line.insertArray(value, std::extent_v<value_t>);
        } else {
            m_line << value;
        }
    }

    TOLVANE_EXPORT void release() noexcept;

    /// Writes the format up to the next placeholder.
    TOLVANE_EXPORT void writePiece();

    /// Writes what is left of the format, and nothing for the placeholders in it.
    TOLVANE_EXPORT void writeRest();

    void convert();
    void keep(const char* text, std::size_t length);
    void keep(const wchar_t* text, std::size_t length);
    template <class char_t>
    bool keepPiece(const char_t*& rest);
    bool keepPiece();
    void splitRest();
    string& ownRest();

    tracedline& m_line;
    const char* m_narrow = nullptr;  ///< the rest of the format, plain text; or null
    const wchar_t* m_wide = nullptr; ///< the rest of it otherwise
    std::size_t m_left = 0;          ///< characters of it, unless a stream splits it
    string* m_owned = nullptr;       ///< that rest, converted, or for a stream to split
    bool m_split = false;            ///< m_owned shrinks, with the stream's logtosplit()
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
