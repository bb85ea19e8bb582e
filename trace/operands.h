#pragma once

#include <tolvane/operand.h>
#include <tolvane/string.h>

#include <cstddef>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string_view>

/// Makes text of the operands of traced lines, as a stream in its default state with the classic
/// locale writes them.
///
/// One thread at a time uses an object; whoever writes many lines keeps one.
class operandreader
{
public:
    operandreader() = default;

    operandreader(const operandreader&) = delete;
    operandreader& operator=(const operandreader&) = delete;

    /// Appends the text of operands, see tolvane::operand. Of bytes that are not what a traced line
    /// keeps, it appends what stands before them, and reads nothing beyond the size.
    ///
    /// Throws std::bad_alloc only; the text may then have a part of the operands' text.
    void append(tolvane::string& text, const unsigned char* operands, std::size_t size);

private:
    /// A stream that writes into an array.
    class numberstream : private std::basic_streambuf<wchar_t>
    {
    public:
        numberstream();

        template <class value_t>
        std::wstring_view write(value_t value);

    private:
        /// The longest number is that of a long double with its exponent, or of a pointer.
        static constexpr std::size_t longestNumber = 64;

        std::basic_ostream<wchar_t> m_stream;
        wchar_t m_digits[longestNumber];
    };

    class bytes;

    bool readOne(bytes& from);
    bool readNumber(tolvane::operand kind, bytes& from);
    template <class value_t>
    bool readInteger(bytes& from);
    template <class value_t>
    bool readReal(bytes& from);
    bool readPointer(bytes& from);
    bool readText(bytes& from, std::size_t count);
    bool readWide(bytes& from, std::size_t count);

    void write(bool negative, unsigned long long magnitude);
    void write(std::wstring_view text);
    template <class value_t>
    void writeByStream(value_t value);
    wchar_t* room(std::size_t count);
    void empty();

    /// Most lines are shorter, so that their text is appended at once.
    static constexpr std::size_t bufferSize = 512;

    tolvane::string* m_text = nullptr;     ///< during append()
    std::size_t m_used = 0;                ///< characters in the buffer
    std::optional<numberstream> m_numbers; ///< made for the first number that needs it
    wchar_t m_buffer[bufferSize];          ///< what is appended next
};
