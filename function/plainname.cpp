#include "function/plainname.h"

#include "function/conversiontype.h"
#include "function/signaturetext.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

constexpr std::string_view separator = "::";
constexpr std::string_view anonymousNamespace = "{anonymous}";
constexpr std::string_view unnamedClass = "{unnamed}";
constexpr std::string_view lambdaName = "lambda";

template <std::size_t count>
bool isOneOf(std::string_view word, const std::string_view (&words)[count])
{
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

/// Walks through a signature and collects the name that comes last before a parameter list. What
/// stands in front of that, the return type, looks like a name as well, until another one begins.
class plainnamescan
{
public:
    explicit plainnamescan(std::string_view signature) : m_text(signature) {}

    /// \return empty when there is no name.
    std::string name()
    {
        while (!m_isDone && !m_isOdd && !m_text.atEnd()) {
            readOne();
        }
        return m_isDone && !m_isOdd && !isAtStart() ? m_name : std::string();
    }

private:
    /// Whether a component of the name begins here.
    bool isAtStart() const { return m_isEnded || m_name.empty() || endsWithSeparator(); }

    bool endsWithSeparator() const
    {
        return m_name.size() >= separator.size() &&
               m_name.compare(m_name.size() - separator.size(), separator.size(), separator) == 0;
    }

    void add(std::string_view text)
    {
        if (m_isEnded) {
            m_name.clear();
            m_isEnded = false;
        }
        m_name += text;
    }

    void readOne()
    {
        if (m_text.isWordNext()) {
            readWord();
            return;
        }
        switch (m_text.next()) {
        case ':':
            readSeparator();
            break;
        case '<':
        case '{':
            readBracket();
            break;
        case '(':
            readParenthesis();
            break;
        case '[': // a tag of the binary interface
            readGroup();
            break;
        case '`':
            readQuote();
            break;
        case '\'': // ends a function in quotes
            m_text.skipOne();
            break;
        case '~':
            m_text.skipOne();
            add("~");
            break;
        case ' ':
        case '\t':
        case '*':
        case '&':
        case ')':
            m_text.skipOne();
            m_isEnded = true;
            break;
        default:
            m_isOdd = true;
        }
    }

    /// Words of the compilers' own that a group belongs to.
    static bool hasParentheses(std::string_view word)
    {
        constexpr std::string_view ofCompilers = "__";
        return word == "decltype" ||
               (startsWith(word, ofCompilers) && (word.find("attribute") == ofCompilers.size() ||
                                                  word.find("declspec") == ofCompilers.size()));
    }

    void readWord()
    {
        const bool starts = isAtStart();
        const std::string_view word = m_text.takeWord();
        if (starts && word == "operator") {
            readOperator();
            return;
        }
        add(word);
        if (hasParentheses(word)) {
            m_text.skipBlanks();
            readGroup();
            m_isEnded = true;
        }
    }

    /// A name that begins with a separator is a global one.
    void readSeparator()
    {
        if (!m_text.skip(separator)) {
            m_isOdd = true;
        } else if (m_isEnded) {
            m_name.clear();
            m_isEnded = false;
        } else if (!isAtStart()) {
            m_name += separator;
        }
    }

    std::string_view readGroup()
    {
        const std::string_view group = m_text.takeGroup();
        m_isOdd |= group.empty();
        return group;
    }

    /// Around template arguments, or what has no name.
    void readBracket()
    {
        const bool starts = isAtStart();
        const bool isAngular = m_text.next() == '<';
        const std::string_view group = readGroup();
        if (starts && !m_isOdd) {
            readNameless(group.substr(1, group.size() - 2));
        } else {
            m_isOdd |= !isAngular;
        }
    }

    /// A lambda's text may tell its parameters.
    void readNameless(std::string_view content)
    {
        if (content == "anonymous") {
            add(anonymousNamespace);
        } else if (startsWith(content, lambdaName)) {
            add(lambdaName);
            m_lambda = m_name.size();
            const bool isType = !readQualifiers();
            m_isDone = !isType && m_text.atEnd();
            m_isEnded = isType;
        } else {
            add(unnamedClass);
        }
    }

    void readParenthesis()
    {
        if (m_text.skip("(anonymous namespace)")) {
            add(anonymousNamespace);
        } else if (m_text.isNext("(lambda")) {
            readGroup();
            add(lambdaName);
            m_lambda = m_name.size();
        } else if (m_text.isNext("(anonymous ") || m_text.isNext("(unnamed ")) {
            readGroup();
            const bool isLambda = m_text.isNext("::operator()(");
            add(isLambda ? lambdaName : unnamedClass);
            m_lambda = isLambda ? m_name.size() : m_lambda;
        } else if (m_text.isDeclaratorNext()) {
            m_text.skipOne();
            m_isEnded = true;
        } else {
            readParameters();
        }
    }

    /// The function may be the one in which another stands.
    void readParameters()
    {
        m_isEnded = false; // some put a blank in front
        m_isOdd |= isAtStart();
        readGroup();
        m_isDone = !readQualifiers() || m_text.atEnd();
    }

    /// \return whether what comes next is a separator or the end.
    bool readQualifiers()
    {
        static constexpr std::string_view qualifiers[] = {"const",    "volatile", "mutable",
                                                          "noexcept", "static",   "constexpr"};
        while (!m_text.atEnd() && !m_text.isNext(separator) && !m_isOdd) {
            if (m_text.isWordNext()) {
                signaturetext ahead = m_text;
                if (!isOneOf(ahead.takeWord(), qualifiers)) {
                    return false;
                }
                m_text = ahead;
            } else if (m_text.next() == '[' || m_text.next() == '(') {
                readGroup();
            } else if (m_text.next() == ' ' || m_text.next() == '&' || m_text.next() == '\'') {
                m_text.skipOne();
            } else {
                return false;
            }
        }
        return !m_isOdd;
    }

    /// The Microsoft compiler's: an anonymous namespace, a block's number, or a function in which
    /// the next one stands.
    void readQuote()
    {
        if (m_text.skip("`anonymous-namespace'") || m_text.skip("`anonymous namespace'")) {
            add(anonymousNamespace);
            return;
        }
        m_text.skipOne();
        signaturetext ahead = m_text;
        const std::string_view word = ahead.takeWord();
        const bool isNumber = word.find_first_not_of("0123456789") == std::string_view::npos;
        if (isNumber && ahead.skip("'")) {
            m_text = ahead;
        }
    }

    void readOperator()
    {
        m_text.skipBlanks();
        if (m_text.skip("()")) {
            addCall();
        } else if (m_text.skip("[]")) {
            add("operator[]");
        } else if (m_text.skip("\"\"")) {
            m_text.skipBlanks();
            add("operator\"\"");
            add(m_text.takeWord());
        } else if (const std::string_view sign = m_text.takeOperator(); !sign.empty()) {
            add("operator");
            add(sign);
        } else {
            readNamedOperator();
        }
        m_text.skipBlanks();
    }

    /// What the compiler calls a lambda's operator is the lambda.
    void addCall()
    {
        if (m_lambda != 0 && m_name.size() == m_lambda + separator.size()) {
            m_name.resize(m_lambda);
        } else {
            add("operator()");
        }
    }

    void readNamedOperator()
    {
        static constexpr std::string_view words[] = {"new", "delete", "co_await"};
        signaturetext ahead = m_text;
        const std::string_view word = ahead.takeWord();
        add("operator ");
        if (!isOneOf(word, words)) {
            readType();
            return;
        }
        m_text = ahead;
        add(word);
        m_text.skipBlanks();
        if (m_text.skip("[]")) {
            add("[]");
        }
    }

    void readType()
    {
        const std::string type = conversionType(m_text);
        m_isOdd |= type.empty();
        add(type);
    }

    signaturetext m_text;
    std::string m_name;
    std::size_t m_lambda = 0; ///< where the name of a lambda ends
    bool m_isEnded = false;   ///< what was collected may be a type
    bool m_isDone = false;
    bool m_isOdd = false; ///< this is no function
};

} // namespace

std::string plainName(const std::string& signature)
{
    const std::string name = plainnamescan(signature).name();
    return name.empty() ? signature : name;
}
