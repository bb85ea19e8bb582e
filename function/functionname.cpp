#include "function/functionname.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

namespace {

/// Longer signatures come from deeply nested templates, whose tail tells nothing about the name.
constexpr std::size_t longestScanned = 1024;

constexpr const char* operatorKeyword = "operator";
constexpr std::size_t operatorKeywordLength = 8;

bool isSeparator(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Walks a signature backwards and collects the pieces of its name.
///
/// The name ends where the outermost parameter list begins. From there on to the left everything at
/// nesting depth 0 belongs to it, without the words for elaborated types, until a separator ends
/// it.
class signaturescan
{
public:
    explicit signaturescan(const std::string& signature)
        : m_text(signature), m_length(std::min(signature.size(), longestScanned))
    {}

    /// \return the name; empty when none was found.
    std::string name()
    {
        for (std::size_t i = m_length; i-- > 0 && !m_stopped;) {
            if (!skippedAsBracket(m_text[i])) {
                visit(i, m_text[i]);
            }
        }
        if (m_mark != noMark) {
            addPiece(0, m_mark); // no return type: the leading text belongs to the name
        }
        return m_total == 0 ? std::string() : join();
    }

private:
    struct piece
    {
        std::size_t start;
        std::size_t length;
    };

    static constexpr std::size_t noMark = 0;

    /// Array bounds, and what compilers add in square brackets, are not part of a name.
    bool skippedAsBracket(char c)
    {
        if (c == '[' && m_squareDepth > 0) {
            --m_squareDepth;
        } else if (c == ']') {
            ++m_squareDepth;
        }
        return m_squareDepth > 0 || c == '[';
    }

    void visit(std::size_t i, char c)
    {
        if (c == ')' || c == '>') {
            if (m_depth == 0 && m_mark != noMark && m_mark > i + 1) {
                addPiece(i + 1, m_mark - i - 1);
                m_mark = noMark;
            }
            ++m_depth;
        } else if (c == '(' || c == '<') {
            --m_depth; // wraps below 0, as in "operator <", and then collects nothing more
            if (m_depth == 0) {
                m_mark = i;
            }
        } else if (isSeparator(c) && m_mark != noMark && m_depth == 0) {
            visitSeparator(i);
        }
    }

    void visitSeparator(std::size_t i)
    {
        if (m_mark > i + 2 || (m_mark == i + 2 && m_text[i + 1] != ' ')) {
            addPiece(i + 1, m_mark - i - 1);
        }
        for (const char* const keyword : {"class", "struct", "typename"}) {
            if (keywordEndsAt(i, keyword)) {
                m_mark = i - std::strlen(keyword);
                return;
            }
        }
        if (keywordEndsAt(i, operatorKeyword)) {
            m_mark = i;
            addPiece(i, 1);
        } else if (m_total != 0) {
            m_mark = noMark;
            m_stopped = true;
        } else {
            --m_mark;
        }
    }

    /// Whether the keyword stands right before position i, as a word of its own and not at the
    /// text's very start.
    bool keywordEndsAt(std::size_t i, const char* keyword) const
    {
        const std::size_t length = std::strlen(keyword);
        if (i < length + 2 || m_text.compare(i - length, length, keyword) != 0) {
            return false;
        }
        const char before = m_text[i - length - 1];
        return before == ':' || before == ' ';
    }

    void addPiece(std::size_t start, std::size_t length)
    {
        m_pieces.push_back({start, length});
        m_total += length;
    }

    std::string join() const
    {
        std::string joined;
        for (auto part = m_pieces.rbegin(); part != m_pieces.rend(); ++part) {
            joined.append(m_text, part->start, part->length);
        }
        return joined;
    }

    const std::string& m_text;
    const std::size_t m_length;
    std::size_t m_squareDepth = 0;
    unsigned long long m_depth = 0;
    std::size_t m_mark = noMark; ///< end of the piece being collected
    std::size_t m_total = 0;     ///< characters collected
    std::vector<piece> m_pieces; ///< the last of the text first
    bool m_stopped = false;
};

/// Spells an operator's name with exactly one space behind the keyword. A bare "operator" is the
/// call operator, whose own parentheses the scan took for the parameter list.
std::string spellOperator(const std::string& name)
{
    const std::size_t start = name.find(operatorKeyword);
    if (start == std::string::npos) {
        return name;
    }
    if (start > 0 && name[start - 1] != ':' && name[start - 1] != ' ') {
        return name;
    }
    const std::size_t end = start + operatorKeywordLength;
    if (end < name.size() &&
        (std::isalnum(static_cast<unsigned char>(name[end])) || name[end] == '_')) {
        return name;
    }
    const std::size_t symbol = name.find_first_not_of(' ', end);
    const std::string rest = symbol == std::string::npos ? "()" : name.substr(symbol);
    return name.substr(0, end) + ' ' + rest;
}

} // namespace

std::string extractFunctionName(const std::string& signature)
{
    const std::string name = signaturescan(signature).name();
    return name.empty() ? signature : spellOperator(name);
}
