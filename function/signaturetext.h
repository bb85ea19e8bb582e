#pragma once

#include <cstddef>
#include <string_view>

/// A compiler's text for a function, through which one walks from its begin to its end.
class signaturetext
{
public:
    static constexpr std::size_t none = std::string_view::npos;

    explicit signaturetext(std::string_view text) noexcept : m_text(text) {}

    bool atEnd() const noexcept { return m_at == m_text.size(); }

    /// The next character; 0 at the end.
    char next() const noexcept { return atEnd() ? '\0' : m_text[m_at]; }

    /// Whether this comes next.
    bool isNext(std::string_view text) const noexcept
    {
        return m_text.compare(m_at, text.size(), text) == 0;
    }

    /// Whether a character of a name comes next.
    bool isWordNext() const noexcept { return !atEnd() && isOfWord(next()); }

    /// Goes past this text, if it comes next.
    bool skip(std::string_view text) noexcept;
    void skipOne() noexcept { m_at += atEnd() ? 0U : 1U; }
    void skipBlanks() noexcept;

    /// Takes the characters of a name that come next, which may be none.
    std::string_view takeWord() noexcept;

    /// Takes what comes next up to the bracket that belongs to this one, round, square, angular or
    /// curly, and that bracket. Empty when there is none.
    std::string_view takeGroup();

    /// Takes the signs of an operator, if something that may follow a function's name follows them.
    std::string_view takeOperator() noexcept;

    /// Whether the round bracket that comes next is one around a function's name, as in
    /// "int (*f())(int)", and not one around parameters.
    bool isDeclaratorNext() const;

private:
    static bool isOfWord(char character) noexcept;
    std::size_t wordEnd(std::size_t at) const noexcept;
    std::size_t groupEnd(std::size_t at) const;
    std::size_t literalEnd(std::size_t at) const noexcept;
    std::size_t operatorEnd(std::size_t at, std::string_view followers) const noexcept;
    std::size_t keywordEnd(std::size_t at) const noexcept;

    std::string_view m_text;
    std::size_t m_at = 0;
};
