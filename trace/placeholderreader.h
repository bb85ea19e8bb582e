#pragma once

#include <tolvane/placeholder.h>

#include <cstddef>
#include <limits>

/// Takes the placeholders of a %-format apart.
template <class char_t>
class placeholderreader
{
public:
    /// \param text    begins with a percent sign.
    /// \param length  characters of the text.
    placeholderreader(const char_t* text, std::size_t length) noexcept
        : m_text(text), m_length(length)
    {}

    /// \return how many characters belong to the placeholder. 0: this is none.
    std::size_t read(tolvane::placeholder& found) noexcept
    {
        found = tolvane::placeholder();
        while (readFlag(found)) {
            ++m_at;
        }
        found.width = readNumber(found.asksWidth);
        if (isAt('.')) {
            ++m_at;
            found.precision = readNumber(found.asksPrecision);
        }
        while (isOneOf("hljztLqIw")) {
            found.isShort |= isAt('h');
            ++m_at;
            skipDigits(); // of I64 and the like
        }
        if (!isOneOf("diouxXfFeEgGaAcspn")) {
            return 0;
        }
        found.kind = static_cast<char>(m_text[m_at]);
        return m_at + 1;
    }

private:
    bool isAt(char character) const noexcept
    {
        return m_at < m_length && m_text[m_at] == static_cast<char_t>(character);
    }

    bool isOneOf(const char* characters) const noexcept
    {
        while (*characters && !isAt(*characters)) {
            ++characters;
        }
        return *characters;
    }

    bool isDigit() const noexcept { return isOneOf("0123456789"); }

    bool readFlag(tolvane::placeholder& found) const noexcept
    {
        found.isLeft |= isAt('-');
        found.hasPlus |= isAt('+');
        found.hasBlank |= isAt(' ');
        found.isAlternative |= isAt('#');
        found.hasZeros |= isAt('0');
        return isOneOf("-+ #0'");
    }

    /// A number that is not there is 0.
    int readNumber(bool& isAsked) noexcept
    {
        constexpr int greatest = std::numeric_limits<int>::max();
        int number = 0;
        isAsked = isAt('*');
        if (isAsked) {
            ++m_at;
            return 0;
        }
        for (; isDigit(); ++m_at) {
            const int digit = static_cast<int>(m_text[m_at]) - '0';
            number = number > (greatest - digit) / 10 ? greatest : number * 10 + digit;
        }
        return number;
    }

    void skipDigits() noexcept
    {
        while (isDigit()) {
            ++m_at;
        }
    }

    const char_t* m_text;
    std::size_t m_length;
    std::size_t m_at = 1;
};
