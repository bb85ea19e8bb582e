#include "function/signaturetext.h"

#include <algorithm>
#include <string>

namespace {

/// Longer ones first.
constexpr std::string_view operators[] = {
    "->*", "<=>", "<<=", ">>=", "->", "++", "--", "<<", ">>", "<=", ">=", "==", "!=",
    "&&",  "||",  "+=",  "-=",  "*=", "/=", "%=", "^=", "&=", "|=", "+",  "-",  "*",
    "/",   "%",   "^",   "&",   "|",  "~",  "!",  "=",  "<",  ">",  ",",
};

constexpr std::string_view operatorKeyword = "operator";
constexpr std::string_view conventions[] = {"__cdecl",      "__stdcall",  "__thiscall",
                                            "__vectorcall", "__fastcall", "__clrcall"};

char closerOf(char opener)
{
    switch (opener) {
    case '(':
        return ')';
    case '[':
        return ']';
    case '{':
        return '}';
    case '<':
        return '>';
    default:
        return 0;
    }
}

} // namespace

bool signaturetext::skip(std::string_view text) noexcept
{
    const bool found = isNext(text);
    m_at += found ? text.size() : 0;
    return found;
}

void signaturetext::skipBlanks() noexcept
{
    m_at = std::min(m_text.find_first_not_of(" \t\r\n", m_at), m_text.size());
}

std::string_view signaturetext::takeWord() noexcept
{
    const std::size_t start = m_at;
    m_at = wordEnd(m_at);
    return m_text.substr(start, m_at - start);
}

std::string_view signaturetext::takeGroup()
{
    const std::size_t start = m_at;
    const std::size_t end = groupEnd(m_at);
    if (end == none) {
        return {};
    }
    m_at = end;
    return m_text.substr(start, end - start);
}

std::string_view signaturetext::takeOperator() noexcept
{
    const std::size_t start = m_at;
    m_at = operatorEnd(m_at, "(< \t");
    return m_text.substr(start, m_at - start);
}

bool signaturetext::isDeclaratorNext() const
{
    std::size_t at = m_at + 1;
    while (at < m_text.size() && (isOfWord(m_text[at]) || m_text[at] == ':' || m_text[at] == ' ')) {
        ++at;
        if (at < m_text.size() && m_text[at] == '<') {
            at = groupEnd(at);
        }
    }
    if (at >= m_text.size() || (m_text[at] != '*' && m_text[at] != '&')) {
        return false;
    }
    std::string_view before = m_text.substr(m_at + 1, at - m_at - 1);
    before = before.substr(0, before.find_last_not_of(' ') + 1);
    const bool isMember = before.size() > 1 && before.substr(before.size() - 2) == "::";
    return before.empty() || isMember ||
           std::find(std::begin(conventions), std::end(conventions), before) !=
               std::end(conventions);
}

/// What is beyond ASCII is a letter.
bool signaturetext::isOfWord(char character) noexcept
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_' || character == '$' ||
           static_cast<unsigned char>(character) > 0x7F;
}

std::size_t signaturetext::wordEnd(std::size_t at) const noexcept
{
    while (at < m_text.size() && isOfWord(m_text[at])) {
        ++at;
    }
    return at;
}

/// Within round brackets an angular one may be a sign, which has no counterpart there.
std::size_t signaturetext::groupEnd(std::size_t at) const
{
    std::string closers;
    if (at >= m_text.size() || closerOf(m_text[at]) == 0) {
        return none;
    }
    while (at < m_text.size()) {
        const char character = m_text[at];
        const bool isWord = isOfWord(character);
        if (isWord || character == '\'') {
            at = isWord ? keywordEnd(at) : literalEnd(at);
            continue;
        }
        const char closer = closerOf(character);
        if (closer != 0) {
            closers += closer;
        } else if (character == ')' || character == ']' || character == '}') {
            while (!closers.empty() && closers.back() == '>') {
                closers.pop_back();
            }
            if (closers.empty() || closers.back() != character) {
                return none;
            }
            closers.pop_back();
        } else if (character == '>' && closers.back() == '>' && m_text[at - 1] != '-') {
            closers.pop_back();
        }
        ++at;
        if (closers.empty()) {
            return at;
        }
    }
    return none;
}

/// The end of a character in quotes. Another quote stands for itself.
std::size_t signaturetext::literalEnd(std::size_t at) const noexcept
{
    constexpr std::size_t longestEscape = 12;
    const bool isEscaped = at + 1 < m_text.size() && m_text[at + 1] == '\\';
    if (isEscaped) {
        const std::size_t end = m_text.substr(0, at + longestEscape).find('\'', at + 3);
        return end == none ? at + 1 : end + 1;
    }
    return at + 2 < m_text.size() && m_text[at + 2] == '\'' ? at + 3 : at + 1;
}

/// The end of a word, and of an operator's signs behind its keyword.
std::size_t signaturetext::keywordEnd(std::size_t at) const noexcept
{
    const std::size_t end = wordEnd(at);
    return m_text.substr(at, end - at) == operatorKeyword ? operatorEnd(end, ")>, ") : end;
}

std::size_t signaturetext::operatorEnd(std::size_t at, std::string_view followers) const noexcept
{
    for (const std::string_view sign : operators) {
        const std::size_t end = at + sign.size();
        if (m_text.compare(at, sign.size(), sign) == 0 &&
            (end == m_text.size() || followers.find(m_text[end]) != none)) {
            return end;
        }
    }
    return at;
}
