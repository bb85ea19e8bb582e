#pragma once

#include <cstddef>
#include <cstring>

namespace tolvane {

/// How an operand of a traced line is kept until somebody writes the line: a byte that says what it
/// is, and behind it the value as it lies in memory, not aligned. Whoever reads it looks at nothing
/// of the program that traced, which may have unloaded that part of itself by then.
///
/// From shortText on, the byte itself holds the length of the ASCII text behind it.
enum class operand : unsigned char
{
    text = 1,     ///< a count of 32 bits, and so many ASCII characters
    wideText,     ///< a count of 32 bits, and so many wchar_t
    truth,        ///< an int
    character,    ///< never kept: only a stream knows what becomes of it
    shortInteger, ///< an int
    unsignedShort,
    integer,
    unsignedInteger,
    longInteger,
    unsignedLong,
    longLong,
    unsignedLongLong,
    real,     ///< a double
    longReal, ///< a long double
    pointer,
    none, ///< never kept: what has no kind of its own
    shortText = 0x80,
};

/// The longest text whose length fits beside operand::shortText.
constexpr std::size_t longestShortText = 0x7F;

/// Text that is the same in every locale: ASCII characters, and no NUL among them.
///
/// What reads a text may throw: where the text is not, the library makes an exception of the fault.
class plaintext
{
public:
    /// Copies a text of any length, eight characters at a time.
    /// \return whether it is plain; what was copied otherwise is of no use.
    static bool copy(unsigned char* to, const char* text, std::size_t length)
    {
        if (length >= sizeof(word_t)) {
            return copyWords(to, text, length);
        }
        if (length >= sizeof(half_t)) {
            return copyHalves(to, text, length);
        }
        return length == 0 || copyFew(to, text, length);
    }

    /// Where the first character is that is not plain, or the text's end.
    static const char* findOdd(const char* text, std::size_t length)
    {
        const char* const end = text + length;
        while (static_cast<std::size_t>(end - text) >= sizeof(word_t) &&
               (odd(load<word_t>(text)) & highBits) == 0) {
            text += sizeof(word_t);
        }
        while (text != end && isPlain(*text)) {
            ++text;
        }
        return text;
    }

    static bool isPlain(char character) noexcept
    {
        return character != 0 && (static_cast<unsigned char>(character) & highBit) == 0;
    }

private:
    using word_t = unsigned long long;
    using half_t = unsigned int;

    static constexpr unsigned char highBit = 0x80;
    static constexpr word_t ones = ~word_t{0} / 0xFF;  ///< 1 in each byte
    static constexpr word_t highBits = ones * highBit; ///< the highest bit of each byte
    static constexpr unsigned int halfBits = 32;

    template <class bits_t>
    static bits_t load(const char* from)
    {
        bits_t bits = 0;
        std::memcpy(&bits, from, sizeof bits);
        return bits;
    }

    /// Has a high bit set where a character is not ASCII, and, if all are, where one is NUL.
    static word_t odd(word_t word) noexcept { return word | (word - ones); }

    /// The last eight may overlap those before them.
    static bool copyWords(unsigned char* to, const char* text, std::size_t length)
    {
        const std::size_t last = length - sizeof(word_t);
        const auto end = load<word_t>(text + last);
        word_t found = odd(end);
        for (std::size_t at = 0; at < last; at += sizeof(word_t)) {
            const auto word = load<word_t>(text + at);
            found |= odd(word);
            std::memcpy(to + at, &word, sizeof word);
        }
        std::memcpy(to + last, &end, sizeof end);
        return (found & highBits) == 0;
    }

    static bool copyHalves(unsigned char* to, const char* text, std::size_t length)
    {
        const std::size_t last = length - sizeof(half_t);
        const auto first = load<half_t>(text);
        const auto end = load<half_t>(text + last);
        std::memcpy(to, &first, sizeof first);
        std::memcpy(to + last, &end, sizeof end);
        return (odd(static_cast<word_t>(end) << halfBits | first) & highBits) == 0;
    }

    /// One to three.
    static bool copyFew(unsigned char* to, const char* text, std::size_t length)
    {
        const char first = text[0];
        const char middle = text[length / 2];
        const char last = text[length - 1];
        to[0] = static_cast<unsigned char>(first);
        to[length / 2] = static_cast<unsigned char>(middle);
        to[length - 1] = static_cast<unsigned char>(last);
        return isPlain(first) && isPlain(middle) && isPlain(last);
    }
};

} // namespace tolvane
