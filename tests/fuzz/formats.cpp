#include <tolvane/formatwriter.h>

#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/fuzz/tracedlines.h"
#include "tests/helpers/traceobjecttest.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Has an inserter of its own, for which the rest of the line goes through the stream.
struct point
{
    int x;
    int y;
};

std::wostream& operator<<(std::wostream& stream, const point& value)
{
    return stream << L'(' << value.x << L';' << value.y << L')';
}

using wides_t = std::vector<std::wstring>;

std::wstring widened(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

/// A character is a byte in the locale of this program.
std::wstring converted(const std::string& text)
{
    std::wstring wide;
    for (const char character : std::string(text.c_str())) {
        wide += tolvane::string(std::string(1, character)).c_str();
    }
    return wide;
}

/// A placeholder as snprintf knows it.
struct conversion
{
    std::string flags;
    std::string width;
    std::string precision; ///< with its point
    bool isShort = false;
    char kind = 0;
    std::size_t length = 0; ///< characters of the format; 0: it is none

    bool has(char flag) const { return flags.find(flag) != std::string::npos; }
    bool isOf(const char* kinds) const { return std::strchr(kinds, kind) != nullptr; }

    /// With another letter, and a length in front of it.
    template <class value_t>
    std::wstring print(const char* letters, value_t value, bool keepsPrecision = true) const
    {
        const std::string format =
            '%' + flags + width + (keepsPrecision ? precision : "") + letters;
        const int size = std::snprintf(nullptr, 0, format.c_str(), value);
        std::string text(static_cast<std::size_t>(size) + 1, 0);
        std::snprintf(text.data(), text.size(), format.c_str(), value);
        text.pop_back();
        return widened(text);
    }

    std::wstring pad(std::wstring text, wchar_t filling = L' ') const
    {
        const std::size_t wanted = width.empty() ? 0 : std::stoul(width);
        if (text.size() < wanted) {
            const std::wstring padding(wanted - text.size(), has('-') ? L' ' : filling);
            text = has('-') ? text + padding : padding + text;
        }
        return text;
    }

    /// How many characters of a text there are, in 's'.
    std::size_t limit() const
    {
        if (kind != 's' || precision.empty()) {
            return std::string::npos;
        }
        return precision.size() == 1 ? 0 : std::stoul(precision.substr(1));
    }
};

conversion parse(const std::wstring& format, std::size_t at)
{
    conversion found;
    std::size_t next = at + 1;
    const auto take = [&](const wchar_t* characters) {
        const std::size_t end = std::min(format.find_first_not_of(characters, next), format.size());
        const std::wstring taken = format.substr(next, end - next);
        next = end;
        return std::string(taken.begin(), taken.end());
    };
    const auto takeNumber = [&] {
        if (next < format.size() && format[next] == L'*') {
            ++next;
            return std::string("*");
        }
        return take(L"0123456789");
    };
    found.flags = take(L"-+ #0");
    found.width = takeNumber();
    if (next < format.size() && format[next] == L'.') {
        ++next;
        found.precision = "." + takeNumber();
    }
    std::string length = take(L"hlzjt");
    if (!length.empty()) {
        length += take(L"hlzjt0123456789");
    }
    found.isShort = length.find('h') != std::string::npos;
    if (next < format.size() &&
        std::wstring(L"diouxXfFeEgGaAcspn").find(format[next]) != std::wstring::npos) {
        found.kind = static_cast<char>(format[next]);
        found.length = next + 1 - at;
    }
    return found;
}

/// What was given for a placeholder.
class argument
{
public:
    virtual ~argument() = default;

    /// Null: a number it is not.
    virtual const int* number() const { return nullptr; }
    virtual std::wstring plain() const = 0;
    virtual std::wstring print(const conversion& how) const = 0;
};

class numberargument : public argument
{
public:
    explicit numberargument(int value) : m_value(value) {}
    explicit numberargument(short value) : m_value(value), m_isShort(true) {}

    const int* number() const override { return &m_value; }
    std::wstring plain() const override { return std::to_wstring(m_value); }

    std::wstring print(const conversion& how) const override
    {
        if (how.kind == 'c') {
            const std::string character(1, static_cast<char>(m_value));
            return how.pad(converted(character));
        }
        const bool hasNoDigits = how.precision.find_first_not_of(".0") == std::string::npos;
        if (how.kind == 'o' && how.has('#') && m_value == 0 && hasNoDigits) {
            return how.pad(L"0", how.precision.empty() && how.has('0') ? L'0' : L' '); // but MinGW
        }
        if (how.isOf("diouxX")) {
            const std::string length = m_isShort && how.isShort ? "h" : "";
            return how.print((length + how.kind).c_str(), m_value);
        }
        return how.print("d", m_value, false);
    }

private:
    const int m_value;
    const bool m_isShort = false;
};

class realargument : public argument
{
public:
    explicit realargument(double value) : m_value(value) {}

    std::wstring plain() const override { return conversion().print("g", m_value); }

    std::wstring print(const conversion& how) const override
    {
        const bool isKnown = how.isOf("fFeEgG");
        return how.print(isKnown ? std::string(1, how.kind).c_str() : "g", m_value, isKnown);
    }

private:
    const double m_value;
};

class textargument : public argument
{
public:
    explicit textargument(std::string text) : m_text(std::move(text)) {}

    std::wstring plain() const override { return converted(m_text); }

    std::wstring print(const conversion& how) const override
    {
        return how.pad(converted(m_text.substr(0, how.limit())));
    }

private:
    const std::string m_text;
};

class pointargument : public argument
{
public:
    explicit pointargument(const point& value) : m_value(value) {}

    std::wstring plain() const override { return print(conversion()); }

    std::wstring print(const conversion& how) const override
    {
        conversion number;
        const bool isBased = how.isOf("oxX") && how.kind != 0;
        number.flags =
            std::string(how.has('+') && !isBased ? "+" : "") + (how.has('#') && isBased ? "#" : "");
        const std::string letter(1, isBased ? how.kind : 'd');
        const std::wstring whole = L"(" + number.print(letter.c_str(), m_value.x) + L";" +
                                   number.print(letter.c_str(), m_value.y) + L")";
        const bool isZeros = how.has('0') && how.isOf("diouxXfFeEgGaA");
        return how.pad(whole.substr(0, how.limit()), isZeros ? L'0' : L' ');
    }

private:
    const point m_value;
};

using arguments_t = std::vector<std::unique_ptr<argument>>;

/// Writes a format, which is text but for its placeholders.
class model
{
public:
    model(const std::wstring& format, const arguments_t& arguments)
        : m_format(format), m_arguments(arguments)
    {}

    std::wstring line()
    {
        std::size_t at = 0;
        while (at < m_format.size()) {
            if (m_format.compare(at, 2, L"%%") == 0) {
                m_line += L'%';
                at += 2;
                continue;
            }
            const conversion found = m_format[at] == L'%' ? parse(m_format, at) : conversion();
            if (found.length == 0) {
                m_line += m_format[at++];
                continue;
            }
            put(found, m_format.substr(at, found.length));
            at += found.length;
        }
        for (const int unused : m_unused) {
            m_line += L' ' + std::to_wstring(unused);
        }
        for (; m_next < m_arguments.size(); ++m_next) {
            m_line += L' ' + m_arguments[m_next]->plain();
        }
        return m_line;
    }

private:
    void put(conversion how, const std::wstring& asItStands)
    {
        const bool mayAskForPrecision = takeStar(how.width);
        if (mayAskForPrecision) {
            takeStar(how.precision);
        }
        how.width = how.width == "*" ? "" : how.width;
        how.precision = how.precision == ".*" ? "" : how.precision;
        if (how.width.substr(0, 1) == "-") {
            how.width.erase(0, 1);
            how.flags += '-';
        }
        if (how.precision.substr(0, 2) == ".-") {
            how.precision.clear();
        }
        if (m_next == m_arguments.size()) {
            m_line += asItStands;
            return;
        }
        m_unused.clear();
        const argument& given = *m_arguments[m_next++];
        m_line += how.kind == 'n' ? L"" : given.print(how);
    }

    /// \return false when what is given for it is no number.
    bool takeStar(std::string& field)
    {
        if (field.empty() || field.back() != '*' || m_next == m_arguments.size()) {
            return true;
        }
        const int* const number = m_arguments[m_next]->number();
        if (number) {
            field.pop_back();
            field += std::to_string(*number);
            m_unused.push_back(*number);
            ++m_next;
        }
        return number;
    }

    const std::wstring& m_format;
    const arguments_t& m_arguments;
    std::size_t m_next = 0;
    std::vector<int> m_unused; ///< widths and precisions of what has no argument itself
    std::wstring m_line;
};

/// What traceobject::logtosplit writes; leaves the rest in format.
std::wstring modelSplit(std::wstring& format)
{
    std::wstring written;
    for (std::size_t mark = format.find(L'%');
         mark != std::wstring::npos && mark + 1 != format.size(); mark = format.find(L'%')) {
        const bool isDoubled = format[mark + 1] == L'%';
        written += format.substr(0, mark);
        format.erase(0, mark + 2);
        if (!isDoubled) {
            return written;
        }
        written += L"%%";
    }
    written += format.empty() ? L" " : format;
    format.clear();
    return written;
}

/// What traceobject::logtosplitchar writes, which moves on in a text of which so many characters
/// are left.
std::wstring modelSplitChar(const std::wstring& text, std::size_t& at, std::size_t& left)
{
    std::wstring written;
    std::size_t mark = text.find(L'%', at);
    while (mark != std::wstring::npos && left != 0 && mark - at < left - 1) {
        const bool isDoubled = text[mark + 1] == L'%';
        written += text.substr(at, mark - at);
        left -= mark - at + 2;
        at = mark + 2;
        if (!isDoubled) {
            return written;
        }
        written += L"%%";
        mark = text.find(L'%', at);
    }
    written += text.substr(at, left);
    if (left == 0 || mark == std::wstring::npos) {
        written += L' ';
    }
    left = 0;
    return written;
}

constexpr const char* pieces[] = {
    "%d",       "%s",  "%%", "%", " ", "text", "% ", "\n", "0123456789 0123456789",
    "\xC3\xA4", "%%%", "\r", "-", "+", "#",    "0",  "*",  ".",
    "7",        "2",   "ll", "z", "c", "d",    "f",  "g",  "n",
    "o",        "s",   "u",  "x", "X", "E",    "y",  "h",
};

std::string chosenText(fuzz::choices& input)
{
    constexpr std::size_t mostPieces = 12;
    std::string text;
    for (std::size_t count = input.below(mostPieces); count != 0; --count) {
        text += input.of(pieces);
    }
    return text;
}

constexpr std::size_t mostArguments = 3;

/// Few enough for a width or a precision.
int chosenNumber(fuzz::choices& input)
{
    constexpr std::size_t widest = 40;
    return input.truth() ? static_cast<int>(input.number())
                         : static_cast<int>(input.below(widest)) - 9;
}

/// Writes through the format with arguments of types that the input chooses, which are kept.
template <class scope_t, class format_t, class... values_t>
void write(fuzz::choices& input, scope_t& scope, const format_t& format, arguments_t& arguments,
           const values_t&... values)
{
    if constexpr (sizeof...(values) < mostArguments) {
        const int number = chosenNumber(input);
        const std::string text = chosenText(input);
        switch (input.below(6)) {
        case 1:
            arguments.push_back(std::make_unique<numberargument>(number));
            return write(input, scope, format, arguments, values..., number);
        case 2:
            arguments.push_back(std::make_unique<textargument>(text));
            return write(input, scope, format, arguments, values..., text);
        case 3:
            arguments.push_back(std::make_unique<pointargument>(point{number, -1}));
            return write(input, scope, format, arguments, values..., point{number, -1});
        case 4:
            arguments.push_back(std::make_unique<realargument>(number / 8.0));
            return write(input, scope, format, arguments, values..., number / 8.0);
        case 5:
            arguments.push_back(std::make_unique<numberargument>(static_cast<short>(number)));
            return write(input, scope, format, arguments, values..., static_cast<short>(number));
        default:
            break;
        }
    }
    tolvane::formatwriter::write(scope, tl_always, format, values...);
}

template <class scope_t>
arguments_t writeAs(std::size_t kind, fuzz::choices& input, scope_t& scope,
                    const std::string& format)
{
    arguments_t arguments;
    const tolvane::string wide(converted(format));
    switch (kind) {
    case 0:
        write(input, scope, format.c_str(), arguments);
        break;
    case 1:
        write(input, scope, wide.c_str(), arguments);
        break;
    default:
        write(input, scope, wide, arguments);
        break;
    }
    return arguments;
}

/// A line of the scope, or of a plain stream.
void checkLine(fuzz::choices& input, tolvane::scope& scope, traceobject& stream,
               fuzz::tracedlines& lines)
{
    const std::size_t kind = input.below(3);
    const bool byScope = input.truth();
    const std::string format = chosenText(input);
    const arguments_t arguments =
        byScope ? writeAs(kind, input, scope, format) : writeAs(kind, input, stream, format);

    const wides_t found = lines.take();
    fuzz::check(found.size() == 1, "one line");
    fuzz::checkText(found[0], model(converted(format), arguments).line(), "line");
}

/// What the piece by piece operations write; the stream's line is ended to be looked at.
void checkPieces(fuzz::choices& input, traceobject& stream, fuzz::tracedlines& lines)
{
    std::wstring rest = converted(chosenText(input));
    tolvane::string format(rest.c_str());
    for (std::size_t calls = 1 + input.below(4); calls != 0; --calls) {
        traceobjecttest::logtosplit(stream, format);
        stream << std::endl;
        fuzz::checkText(lines.take().at(0), modelSplit(rest), "piece");
        fuzz::checkText(std::wstring(format.c_str()), rest, "rest of the format");
    }
}

void checkPiecesOfCharacters(fuzz::choices& input, traceobject& stream, fuzz::tracedlines& lines)
{
    const std::wstring format = converted(chosenText(input));
    std::size_t at = 0;
    std::size_t left = input.truth() ? format.size() : input.below(format.size() + 1);
    const wchar_t* rest = format.c_str();
    unsigned long long length = left;
    for (std::size_t calls = 1 + input.below(4); calls != 0; --calls) {
        rest = traceobjecttest::logtosplitchar(stream, rest, length);
        stream << std::endl;
        fuzz::checkText(lines.take().at(0), modelSplitChar(format, at, left), "piece");
        fuzz::check(rest == format.c_str() + at && length == left, "the rest of the characters");
    }
}

} // namespace

void fuzz::formats(choices& input)
{
    static const hashedfunction* function = nullptr;
    tracedlines lines;
    tolvane::scope scope(function, "void formats()");
    traceobject stream(function, "void formats()");
    while (!input.empty()) {
        switch (input.below(6)) {
        case 0:
            checkPieces(input, stream, lines);
            break;
        case 1:
            checkPiecesOfCharacters(input, stream, lines);
            break;
        default:
            checkLine(input, scope, stream, lines);
            break;
        }
    }
}
