#pragma once

#include <tolvane/placeholder.h>

#include <cstddef>
#include <string>
#include <string_view>

/// A number as a %-format writes it, in the classic locale; its field's width is not looked at.
class numbertext
{
public:
    /// The most digits that a precision can ask for, and the widest field: what the C standard
    /// promises for one placeholder.
    static constexpr int most = 4095;

    numbertext() = default;

    numbertext(const numbertext&) = delete;
    numbertext& operator=(const numbertext&) = delete;

    /// \param how   of kind d, i, o, u, x or X.
    /// \param bits  the number; negative ones in two's complement of a width that the caller knows,
    ///              but for kinds d and i, which give the magnitude.
    void setInteger(const tolvane::placeholder& how, unsigned long long bits, bool isNegative);

    /// \param how  of kind f, F, e, E, g, G, a or A.
    ///
    /// Throws std::bad_alloc only.
    template <class real_t>
    void setReal(const tolvane::placeholder& how, real_t value);

    /// A sign, and what shows the base.
    std::string_view prefix() const noexcept { return {m_prefix, m_prefixLength}; }

    /// Zeros between the prefix and the digits.
    std::size_t zeros() const noexcept { return m_zeros; }

    std::string_view digits() const noexcept { return {m_digits, m_length}; }

    /// Whether zeros may fill the field.
    bool takesZeros() const noexcept { return m_takesZeros; }

    std::size_t length() const noexcept { return m_prefixLength + m_zeros + m_length; }

private:
    void addPrefix(char character) noexcept { m_prefix[m_prefixLength++] = character; }
    void addSign(const tolvane::placeholder& how, bool isNegative) noexcept;
    template <class real_t>
    void writeReal(real_t magnitude, char kind, int precision);
    template <class real_t>
    void writeGeneral(real_t magnitude, int precision);
    template <class real_t>
    bool tryReal(char* room, std::size_t size, real_t magnitude, char kind, int precision);
    int exponent() const noexcept;
    void addPoint(char exponentMark);

    /// Enough for integers in octal digits, and for most reals.
    static constexpr std::size_t fewDigits = 64;

    char m_prefix[3] = {};
    std::size_t m_prefixLength = 0;
    std::size_t m_zeros = 0;
    bool m_takesZeros = true;
    char m_few[fewDigits];
    std::string m_many; ///< digits of which there are more
    char* m_digits = m_few;
    std::size_t m_length = 0;
};
