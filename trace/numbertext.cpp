#include "trace/numbertext.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

using tolvane::placeholder;

namespace {

constexpr int usualPrecision = 6;

int base(char kind)
{
    return kind == 'o' ? 8 : kind == 'x' || kind == 'X' ? 16 : 10;
}

bool isUpper(char kind)
{
    return kind >= 'A' && kind <= 'Z';
}

char lower(char kind)
{
    return isUpper(kind) ? static_cast<char>(kind - 'A' + 'a') : kind;
}

/// Of ASCII letters, in whatever locale.
void raise(char* text, std::size_t length)
{
    std::transform(text, text + length, text, [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                                    : character;
    });
}

} // namespace

void numbertext::setInteger(const placeholder& how, unsigned long long bits, bool isNegative)
{
    if (how.kind == 'd' || how.kind == 'i') {
        addSign(how, isNegative);
    }
    m_takesZeros = how.precision == placeholder::none;
    if (bits != 0 || how.precision != 0) {
        const char* const end = std::to_chars(m_few, m_few + fewDigits, bits, base(how.kind)).ptr;
        m_length = static_cast<std::size_t>(end - m_few);
    }
    const auto wanted = static_cast<std::size_t>(std::clamp(how.precision, 0, most));
    m_zeros = wanted > m_length ? wanted - m_length : 0;
    if (how.isAlternative && how.kind == 'o' && m_zeros == 0 &&
        (m_length == 0 || *m_digits != '0')) {
        m_zeros = 1;
    }
    if (how.isAlternative && base(how.kind) == 16 && bits != 0) {
        addPrefix('0');
        addPrefix(how.kind);
    }
    if (how.kind == 'X') {
        raise(m_digits, m_length);
    }
}

template <class real_t>
void numbertext::setReal(const placeholder& how, real_t value)
{
    addSign(how, std::signbit(value));
    m_takesZeros = std::isfinite(value);
    const real_t magnitude = std::fabs(value);
    const char kind = lower(how.kind);
    const int precision = std::min(how.precision, most);
    const int given = precision == placeholder::none ? usualPrecision : precision;
    if (!m_takesZeros) {
        writeReal(magnitude, 'f', given);
    } else if (kind == 'a') {
        addPrefix('0');
        addPrefix(isUpper(how.kind) ? 'X' : 'x');
        writeReal(magnitude, kind, precision);
    } else if (kind == 'g' && how.isAlternative) {
        writeGeneral(magnitude, std::max(given, 1));
    } else {
        writeReal(magnitude, kind, given);
    }
    if (how.isAlternative && m_takesZeros) {
        addPoint(kind == 'a' ? 'p' : 'e');
    }
    if (isUpper(how.kind)) {
        raise(m_digits, m_length);
    }
}

template void numbertext::setReal(const placeholder& how, double value);
template void numbertext::setReal(const placeholder& how, long double value);

void numbertext::addSign(const placeholder& how, bool isNegative) noexcept
{
    if (isNegative || how.hasPlus || how.hasBlank) {
        addPrefix(isNegative ? '-' : how.hasPlus ? '+' : ' ');
    }
}

/// The point that addPoint() may add has room, too.
template <class real_t>
void numbertext::writeReal(real_t magnitude, char kind, int precision)
{
    if (!tryReal(m_few, fewDigits - 1, magnitude, kind, precision)) {
        constexpr std::size_t longestExponent = 16;
        m_many.resize(std::size_t{std::numeric_limits<real_t>::max_exponent10} +
                      static_cast<std::size_t>(std::max(precision, 0)) + longestExponent);
        tryReal(m_many.data(), m_many.size() - 1, magnitude, kind, precision);
    }
}

template <class real_t>
bool numbertext::tryReal(char* room, std::size_t size, real_t magnitude, char kind, int precision)
{
    const std::chars_format format = kind == 'f'   ? std::chars_format::fixed
                                     : kind == 'e' ? std::chars_format::scientific
                                     : kind == 'a' ? std::chars_format::hex
                                                   : std::chars_format::general;
    const std::to_chars_result written =
        precision == placeholder::none
            ? std::to_chars(room, room + size, magnitude, format)
            : std::to_chars(room, room + size, magnitude, format, precision);
    m_digits = room;
    m_length = static_cast<std::size_t>(written.ptr - room);
    return written.ec == std::errc();
}

/// Kind g without leaving zeros at the end out.
template <class real_t>
void numbertext::writeGeneral(real_t magnitude, int precision)
{
    constexpr int leastExponent = -4;
    writeReal(magnitude, 'e', precision - 1);
    const int found = exponent();
    if (found >= leastExponent && found < precision) {
        writeReal(magnitude, 'f', precision - 1 - found);
    }
}

/// Of digits that were written as kind e.
int numbertext::exponent() const noexcept
{
    const char* const end = m_digits + m_length;
    const char* const mark = std::find(static_cast<const char*>(m_digits), end, 'e');
    int found = 0;
    if (mark != end) {
        const char* const digits = mark[1] == '+' ? mark + 2 : mark + 1;
        std::from_chars(digits, end, found);
    }
    return found;
}

/// Of a number without digits behind the point, which is left out then.
void numbertext::addPoint(char exponentMark)
{
    char* const end = m_digits + m_length;
    char* const mark = std::find(m_digits, end, exponentMark);
    if (std::find(m_digits, mark, '.') == mark) {
        std::copy_backward(mark, end, end + 1);
        *mark = '.';
        ++m_length;
    }
}
