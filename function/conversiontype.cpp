#include "function/conversiontype.h"

#include "function/signaturetext.h"

#include <string_view>

namespace {

class typescan
{
public:
    explicit typescan(signaturetext& text) : m_text(text) {}

    std::string type()
    {
        while (!m_isDone && !m_text.atEnd()) {
            readOne();
        }
        return m_isOdd ? std::string() : m_type;
    }

private:
    void readOne()
    {
        if (m_text.isWordNext()) {
            readWord(m_text.takeWord());
        } else if (m_text.skip("::")) {
            m_type.resize(m_word); // it was a namespace or a class
        } else if (m_text.next() == ' ') {
            m_text.skipOne();
            m_isApart = true;
        } else if (m_text.next() == '*' || m_text.next() == '&') {
            m_type += m_text.next();
            m_text.skipOne();
            m_isApart = false;
        } else if (!skipNameless()) {
            readBracket();
        }
    }

    void readWord(std::string_view word)
    {
        if (word == "class" || word == "struct" || word == "enum" || word == "union") {
            return;
        }
        if (m_isApart && !m_type.empty()) {
            m_type += ' ';
        }
        m_isApart = false;
        m_word = m_type.size();
        m_type += word;
    }

    bool skipNameless()
    {
        return m_text.skip("(anonymous namespace)") || m_text.skip("`anonymous-namespace'") ||
               m_text.skip("{anonymous}");
    }

    void readBracket()
    {
        const bool isPointer = m_text.next() == '(' && m_text.isDeclaratorNext();
        if (m_text.next() == '(' && !isPointer) {
            m_isDone = true;
            return;
        }
        const std::string_view group = m_text.takeGroup();
        m_isOdd |= group.empty();
        m_isDone |= m_isOdd;
        if (isPointer) {
            m_type += ' ';
            m_type += group;
            m_type += m_text.takeGroup(); // what the function takes
        }
    }

    signaturetext& m_text;
    std::string m_type;
    std::size_t m_word = 0; ///< where its last word begins
    bool m_isApart = false; ///< a blank was passed
    bool m_isDone = false;
    bool m_isOdd = false;
};

} // namespace

std::string conversionType(signaturetext& text)
{
    return typescan(text).type();
}
