#pragma once

#include <tolvane/export.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>
#include <string_view>
#include <utility>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Owns an array made by new[]. The standard's unique_ptr does the same, at the price of <memory>,
/// which would take longer to compile than the rest of what a traced source file includes.
template <class element_t>
class ownedarray
{
public:
    explicit ownedarray(element_t* array = nullptr) noexcept : m_array(array) {}
    ownedarray(ownedarray&& other) noexcept : m_array(other.m_array) { other.m_array = nullptr; }
    ~ownedarray() { delete[] m_array; }

    ownedarray& operator=(ownedarray&& other) noexcept
    {
        swap(other);
        return *this;
    }

    element_t* get() const noexcept { return m_array; }
    element_t& operator[](std::size_t index) const noexcept { return m_array[index]; }
    explicit operator bool() const noexcept { return m_array != nullptr; }

    void reset(element_t* array) noexcept
    {
        delete[] m_array;
        m_array = array;
    }

    void swap(ownedarray& other) noexcept { std::swap(m_array, other.m_array); }

private:
    element_t* m_array;
};

/// The text type at the library's boundary: wide characters with a small inline buffer, a heap
/// buffer beyond it, and a narrow copy made on demand.
///
/// Every operation is compiled into its user; the library and the application share only the
/// layout. Wide characters are UTF-16 code units on Windows and code points on Linux. Narrow text
/// is converted by the C library in the process's current locale (LC_CTYPE), and a character that
/// it cannot convert becomes "?"; after trace::useUtf8() it is UTF-8, and what is not well-formed,
/// or a lone surrogate, becomes U+FFFD. Counts are in characters.
///
/// Not thread-safe: one object is used by one thread at a time, narrow() included, since it
/// replaces the copy. Throws std::bad_alloc only.
class string
{
public:
    using size_type = unsigned long long;

    /// As a count: the whole text.
    static constexpr size_type npos = ~0ULL;

    /// The empty text.
    string() noexcept = default;

    /// Converts a narrow text; null gives the empty text.
    string(const char* text) { assign(text); }

    /// Copies a wide text; null gives the empty text.
    string(const wchar_t* text) { assign(text); }

    /// The same for the standard's texts, up to the first 0 character among theirs.
    string(const std::string& text) { assign(text.c_str()); }
    string(std::string_view text) : string(std::string(text)) {}
    string(const std::wstring& text) : string(std::wstring_view(text)) {}
    string(std::wstring_view text) { assign(text.data(), text.size()); }

    /// Copies the wide text, and the narrow copy; where there is none, the new string has an empty
    /// one.
    string(const string& other) : m_narrow(duplicate(other.m_narrow.get()))
    {
        place(other.c_str(), other.m_length);
    }

    ~string() = default;

    /// Copies the wide text only.
    string& operator=(const string& other)
    {
        place(other.c_str(), other.m_length);
        return *this;
    }

    /// Replaces the text by a narrow one. Null gives the empty text; a text that the C library
    /// cannot convert becomes as many "?" as it has bytes.
    string& assign(const char* text);

    /// Replaces the text by the first min(wcslen(text), count) characters of a wide one; null gives
    /// the empty text.
    string& assign(const wchar_t* text, size_type count = npos)
    {
        place(text, boundedLength(text, count));
        return *this;
    }

    /// Appends the first min(wcslen(text), count) characters; null appends nothing.
    string& append(const wchar_t* text, size_type count = npos);

    string operator+(const string& right) const
    {
        string sum(*this);
        sum.append(right.c_str(), right.m_length);
        return sum;
    }

    /// At most count characters from position on; a position at or beyond the end gives the empty
    /// text.
    string substr(size_type position, size_type count = npos) const
    {
        string part;
        if (position < m_length) {
            part.place(c_str() + position, lesser(count, m_length - position));
        }
        return part;
    }

    /// Removes the first count characters; npos, or more than there are, removes all.
    string& erase(size_type count);

    /// Compares with a narrow text, character by character.
    /// \return -1, 0 or 1, by the first character that differs.
    int compare(const char* text) const;

    /// The wide text, ended by a 0 character; valid until the next change.
    const wchar_t* c_str() const noexcept { return inlineIsActive() ? m_inline : m_heap.get(); }

    /// Whether the texts are the same. A text of another kind is converted first.
    friend bool operator==(const string& left, const string& right) noexcept
    {
        return left.view() == right.view();
    }

    friend bool operator!=(const string& left, const string& right) noexcept
    {
        return !(left == right);
    }

    /// By the first character that differs; the start of a longer text is the lesser one.
    friend bool operator<(const string& left, const string& right) noexcept
    {
        return left.view() < right.view();
    }

    /// The narrow text, ended by a 0 character and never null; valid until the next call or the
    /// object's end.
    const char* narrow() const
    {
        m_narrow = convert(c_str(), m_length);
        return m_narrow.get();
    }

    /// Characters, the 0 at the end not counted.
    size_type length() const noexcept { return m_length; }

    /// Characters that fit without a new heap buffer.
    size_type capacity() const noexcept { return m_capacity; }

    bool empty() const noexcept { return m_length == 0; }

    /// The number in decimal.
    static string number(long long value) { return string(std::to_wstring(value).c_str()); }

    /// Exchanges the wide texts; the narrow copies stay where they are.
    void swapText(string& other) noexcept;

    /// Gives the text a length and leaves its characters to the caller, who must write them all,
    /// and no 0 among them.
    wchar_t* overwrite(size_type length);

    /// Makes the text longer and leaves the added characters to the caller in the same way.
    wchar_t* extend(size_type added);

    /// Whether narrow text is UTF-8, see trace::useUtf8().
    TOLVANE_EXPORT static bool narrowIsUtf8() noexcept;

private:
    friend struct std::hash<string>;

    std::wstring_view view() const noexcept
    {
        return {c_str(), static_cast<std::size_t>(m_length)};
    }

    /// Texts of up to 7 characters need no allocation.
    static constexpr size_type inlineSize = 8;

    bool inlineIsActive() const noexcept { return !m_heap || m_inline[0] != 0; }
    static size_type lesser(size_type a, size_type b) noexcept { return a < b ? a : b; }
    static size_type boundedLength(const wchar_t* text, size_type limit) noexcept;
    /// The two may overlap. GCC inlines this down to a user's literal and then warns about reading
    /// beyond it, on a path that a text of that length does not take; launder() hides the literal.
    static void copy(wchar_t* to, const wchar_t* from, size_type count) noexcept
    {
        std::wmemmove(to, std::launder(from), static_cast<std::size_t>(count));
    }
    wchar_t* room(size_type length, ownedarray<wchar_t>& grown);
    void adopt(wchar_t* buffer, size_type length, ownedarray<wchar_t>& grown) noexcept;
    void place(const wchar_t* text, size_type length);

    TOLVANE_EXPORT static string fromUtf8(const char* text);
    TOLVANE_EXPORT static ownedarray<char> toUtf8(const wchar_t* text, size_type length);
    static ownedarray<char> duplicate(const char* text);
    static ownedarray<char> convert(const wchar_t* text, size_type length);
    static ownedarray<char> convertSingly(const wchar_t* text, size_type length);

    // The order is fixed: the library and the application read each other's objects.
    wchar_t m_inline[inlineSize] = {}; ///< the text, when it is short
    ownedarray<wchar_t> m_heap; ///< the text, when it is long; may stay while the text is short
    size_type m_length = 0;     ///< characters of the text
    size_type m_capacity = 0;   ///< characters that m_heap can hold
    mutable ownedarray<char> m_narrow; ///< last conversion; null until the first
};

inline string& string::assign(const char* text)
{
    const std::size_t bytes = text ? std::strlen(text) : 0;
    if (bytes == 0) {
        place(nullptr, 0);
        return *this;
    }
    if (narrowIsUtf8()) {
        return *this = fromUtf8(text);
    }
    const ownedarray<wchar_t> wide(new wchar_t[bytes + 1]());
    std::size_t converted = std::mbstowcs(wide.get(), text, bytes + 1);
    if (converted == 0 || converted == static_cast<std::size_t>(-1)) {
        std::wmemset(wide.get(), L'?', bytes);
        converted = bytes;
    }
    place(wide.get(), converted);
    return *this;
}

/// The text may lie in this object, so a buffer is given up only after it was copied.
inline string& string::append(const wchar_t* text, size_type count)
{
    const size_type added = boundedLength(text, count);
    ownedarray<wchar_t> grown;
    wchar_t* const target = room(m_length + added, grown);
    if (target != c_str()) {
        copy(target, c_str(), m_length);
    }
    copy(target + m_length, text ? text : L"", added);
    adopt(target, m_length + added, grown);
    return *this;
}

inline wchar_t* string::extend(size_type added)
{
    const size_type before = m_length;
    ownedarray<wchar_t> grown;
    wchar_t* const target = room(before + added, grown);
    if (target != c_str()) {
        copy(target, c_str(), before);
    }
    adopt(target, before + added, grown);
    return target + before;
}

inline string& string::erase(size_type count)
{
    if (count >= m_length) {
        place(nullptr, 0);
    } else if (count > 0) {
        wchar_t* const text = inlineIsActive() ? m_inline : m_heap.get();
        copy(text, text + count, m_length - count + 1);
        m_length -= count;
    }
    return *this;
}

inline int string::compare(const char* text) const
{
    const string other(text);
    const wchar_t* left = c_str();
    const wchar_t* right = other.c_str();
    while (*left && *left == *right) {
        ++left;
        ++right;
    }
    const auto leftUnit = static_cast<unsigned long>(*left);
    const auto rightUnit = static_cast<unsigned long>(*right);
    return leftUnit < rightUnit ? -1 : leftUnit > rightUnit ? 1 : 0;
}

inline void string::swapText(string& other) noexcept
{
    std::swap(m_inline, other.m_inline);
    m_heap.swap(other.m_heap);
    std::swap(m_length, other.m_length);
    std::swap(m_capacity, other.m_capacity);
}

inline wchar_t* string::overwrite(size_type length)
{
    ownedarray<wchar_t> grown;
    wchar_t* const target = room(length, grown);
    adopt(target, length, grown);
    return target;
}

inline string::size_type string::boundedLength(const wchar_t* text, size_type limit) noexcept
{
    if (!text || limit == 0) {
        return 0;
    }
    if (limit == npos) {
        return std::wcslen(text);
    }
    const wchar_t* const end = std::wmemchr(text, 0, static_cast<std::size_t>(limit));
    return end ? static_cast<size_type>(end - text) : limit;
}

/// The buffer for a text of this length, which is made when there is none yet.
inline wchar_t* string::room(size_type length, ownedarray<wchar_t>& grown)
{
    if (length < inlineSize) {
        return m_inline;
    }
    if (length <= m_capacity) {
        return m_heap.get();
    }
    grown.reset(new wchar_t[static_cast<std::size_t>(length) + 1]);
    return grown.get();
}

/// Makes the buffer the text's, and empties the other one, which is how inlineIsActive() tells them
/// apart.
inline void string::adopt(wchar_t* buffer, size_type length, ownedarray<wchar_t>& grown) noexcept
{
    if (grown) {
        m_heap.swap(grown);
        m_capacity = length;
    }
    if (buffer != m_inline) {
        m_inline[0] = 0;
    } else if (m_heap) {
        m_heap[0] = 0;
    }
    buffer[length] = 0;
    m_length = length;
}

/// The text may lie in this object, so a buffer is given up only after it was copied.
inline void string::place(const wchar_t* text, size_type length)
{
    ownedarray<wchar_t> grown;
    wchar_t* const target = room(length, grown);
    copy(target, text ? text : L"", length);
    adopt(target, length, grown);
}

inline ownedarray<char> string::duplicate(const char* text)
{
    const std::size_t size = text ? std::strlen(text) + 1 : 1;
    ownedarray<char> copied(new char[size]);
    std::memcpy(copied.get(), text ? text : "", size);
    return copied;
}

/// Both passes may fail: some runtimes measure a text that they then cannot convert.
inline ownedarray<char> string::convert(const wchar_t* text, size_type length)
{
    if (narrowIsUtf8()) {
        return toUtf8(text, length);
    }
    const auto failed = static_cast<std::size_t>(-1);
    const std::size_t bytes = std::wcstombs(nullptr, text, 0);
    if (bytes != failed) {
        ownedarray<char> converted(new char[bytes + 1]());
        if (std::wcstombs(converted.get(), text, bytes) != failed) {
            return converted;
        }
    }
    return convertSingly(text, length);
}

/// Character by character, a surrogate pair as one, so that the convertible ones survive beside the
/// others.
inline ownedarray<char> string::convertSingly(const wchar_t* text, size_type length)
{
    const auto widest = static_cast<std::size_t>(MB_CUR_MAX);
    ownedarray<char> converted(new char[static_cast<std::size_t>(length) * widest + 1]());
    char* out = converted.get();
    while (*text) {
        const bool pair = (*text & ~0x3FF) == 0xD800 && (text[1] & ~0x3FF) == 0xDC00;
        const std::size_t units = pair ? 2 : 1;
        const wchar_t piece[] = {text[0], pair ? text[1] : L'\0', 0};
        std::size_t bytes = std::wcstombs(out, piece, units * widest);
        if (bytes == static_cast<std::size_t>(-1)) {
            std::memset(out, '?', units);
            bytes = units;
        }
        out += bytes;
        text += units;
    }
    *out = 0;
    return converted;
}

/// The text in a form that is safe to show, on one line: a backslash as "\\", and each control
/// character (below 0x20, and from 0x7f to 0x9f) as "\x" with two lower-case hexadecimal digits,
/// "\x1b" for instance. All other characters stay as they are, and nothing of the text is lost.
///
/// Texts reach the sinks as they are traced. Use this for what comes from outside, a name that a
/// user typed or a header that was received: line feeds in it would look like lines of the program,
/// and escape sequences would have a terminal do what they say.
///
/// Any thread may call it. Throws std::bad_alloc only.
TOLVANE_EXPORT string escaped(const string& text);

/// Writes the narrow text; honours width and fill like the standard strings. (A wide stream's
/// inserter comes with <tolvane/traceobject.h>.)
template <class traits_t>
std::basic_ostream<char, traits_t>& operator<<(std::basic_ostream<char, traits_t>& stream,
                                               const string& text)
{
    return stream << text.narrow();
}

} // namespace tolvane

/// Equal texts have equal hashes.
template <>
struct std::hash<tolvane::string>
{
    std::size_t operator()(const tolvane::string& text) const noexcept
    {
        return std::hash<std::wstring_view>()(text.view());
    }
};

TOLVANE_END_DECLARATIONS
