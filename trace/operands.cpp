#include "trace/operands.h"

#include <algorithm>
#include <cfenv>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <string_view>

using tolvane::operand;

namespace {

/// Numbers are rounded to nearest, whatever the thread that writes has set for itself.
class usualrounding
{
public:
    usualrounding() noexcept : m_before(std::fegetround())
    {
        if (m_before != FE_TONEAREST) {
            std::fesetround(FE_TONEAREST);
        }
    }

    ~usualrounding()
    {
        if (m_before != FE_TONEAREST) {
            std::fesetround(m_before);
        }
    }

    usualrounding(const usualrounding&) = delete;
    usualrounding& operator=(const usualrounding&) = delete;

private:
    const int m_before;
};

} // namespace

/// Bytes that are taken one behind the other, as far as there are any.
class operandreader::bytes
{
public:
    bytes(const unsigned char* first, std::size_t size) noexcept : m_next(first), m_left(size) {}

    bool empty() const noexcept { return m_left == 0; }

    /// \return null when there are fewer.
    const unsigned char* take(std::size_t count) noexcept
    {
        if (m_left < count) {
            return nullptr;
        }
        const unsigned char* const taken = m_next;
        m_next += count;
        m_left -= count;
        return taken;
    }

    template <class value_t>
    bool read(value_t& value) noexcept
    {
        const unsigned char* const taken = take(sizeof value);
        if (taken) {
            std::memcpy(&value, taken, sizeof value);
        }
        return taken;
    }

private:
    const unsigned char* m_next;
    std::size_t m_left;
};

operandreader::numberstream::numberstream() : m_stream(nullptr)
{
    pubimbue(std::locale::classic());
    m_stream.imbue(std::locale::classic());
    m_stream.rdbuf(this);
}

template <class value_t>
std::wstring_view operandreader::numberstream::write(value_t value)
{
    setp(m_digits, m_digits + longestNumber);
    const usualrounding rounding;
    m_stream << value;
    return {m_digits, static_cast<std::size_t>(pptr() - pbase())};
}

void operandreader::append(tolvane::string& text, const unsigned char* operands, std::size_t size)
{
    m_text = &text;
    m_used = 0;
    bytes from(operands, size);
    while (!from.empty() && readOne(from)) {
    }
    empty();
}

/// \return false when the bytes are not an operand.
bool operandreader::readOne(bytes& from)
{
    const auto kind = static_cast<std::size_t>(*from.take(1));
    if (kind >= static_cast<std::size_t>(operand::shortText)) {
        return readText(from, kind - static_cast<std::size_t>(operand::shortText));
    }
    std::uint32_t count = 0;
    switch (static_cast<operand>(kind)) {
    case operand::text:
        return from.read(count) && readText(from, count);
    case operand::wideText:
        return from.read(count) && readWide(from, count);
    default:
        return readNumber(static_cast<operand>(kind), from);
    }
}

bool operandreader::readNumber(operand kind, bytes& from)
{
    switch (kind) {
    case operand::truth:
    case operand::shortInteger:
    case operand::unsignedShort:
    case operand::integer:
        return readInteger<int>(from);
    case operand::unsignedInteger:
        return readInteger<unsigned int>(from);
    case operand::longInteger:
        return readInteger<long>(from);
    case operand::unsignedLong:
        return readInteger<unsigned long>(from);
    case operand::longLong:
        return readInteger<long long>(from);
    case operand::unsignedLongLong:
        return readInteger<unsigned long long>(from);
    case operand::real:
        return readReal<double>(from);
    case operand::longReal:
        return readReal<long double>(from);
    case operand::pointer:
        return readPointer(from);
    default:
        return false;
    }
}

template <class value_t>
bool operandreader::readInteger(bytes& from)
{
    value_t value = 0;
    if (!from.read(value)) {
        return false;
    }
    const bool negative = value < 0;
    const auto bits = static_cast<unsigned long long>(value);
    write(negative, negative ? 0 - bits : bits);
    return true;
}

template <class value_t>
bool operandreader::readReal(bytes& from)
{
    value_t value = 0;
    if (!from.read(value)) {
        return false;
    }
    writeByStream(value);
    return true;
}

bool operandreader::readPointer(bytes& from)
{
    std::uintptr_t value = 0;
    if (!from.read(value)) {
        return false;
    }
    writeByStream(reinterpret_cast<const void*>(value));
    return true;
}

bool operandreader::readText(bytes& from, std::size_t count)
{
    const unsigned char* const text = from.take(count);
    if (!text) {
        return false;
    }
    std::copy_n(text, count, room(count));
    return true;
}

bool operandreader::readWide(bytes& from, std::size_t count)
{
    const unsigned char* const text = from.take(count * sizeof(wchar_t));
    if (!text) {
        return false;
    }
    std::memcpy(room(count), text, count * sizeof(wchar_t));
    return true;
}

void operandreader::write(bool negative, unsigned long long magnitude)
{
    constexpr std::size_t longest = std::numeric_limits<unsigned long long>::digits10 + 2;
    char digits[longest] = {'-'};
    char* const first = digits + (negative ? 1 : 0);
    const char* const end = std::to_chars(first, digits + longest, magnitude).ptr;
    std::copy(static_cast<const char*>(digits), end, room(static_cast<std::size_t>(end - digits)));
}

void operandreader::write(std::wstring_view text)
{
    std::copy(text.begin(), text.end(), room(text.size()));
}

template <class value_t>
void operandreader::writeByStream(value_t value)
{
    if (!m_numbers) {
        m_numbers.emplace();
    }
    write(m_numbers->write(value));
}

/// Room for characters that the caller writes: in the buffer, or for a long text in the line.
wchar_t* operandreader::room(std::size_t count)
{
    if (count > bufferSize - m_used) {
        empty();
    }
    if (count > bufferSize) {
        return m_text->extend(count);
    }
    wchar_t* const place = m_buffer + m_used;
    m_used += count;
    return place;
}

void operandreader::empty()
{
    std::copy_n(m_buffer, m_used, m_text->extend(m_used));
    m_used = 0;
}
