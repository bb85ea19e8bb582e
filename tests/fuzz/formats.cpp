#include <tolvane/formatwriter.h>

#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/fuzz/tracedlines.h"
#include "tests/helpers/traceobjecttest.h"

#include <string>
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

/// Copies up to the next placeholder, which is left out; doubled percent signs and a last one are
/// text.
/// \return whether there was a placeholder.
bool copyPiece(const std::wstring& format, std::size_t& at, std::wstring& line)
{
    while (at < format.size()) {
        const bool isLast = at + 1 == format.size();
        if (format[at] != L'%' || isLast) {
            line += format[at++];
        } else if (format[at + 1] == L'%') {
            line += L"%%";
            at += 2;
        } else {
            at += 2;
            return true;
        }
    }
    return false;
}

std::wstring modelLine(const std::wstring& format, const wides_t& arguments)
{
    std::wstring line;
    std::size_t at = 0;
    for (const std::wstring& argument : arguments) {
        if (!copyPiece(format, at, line)) {
            line += L' ';
        }
        line += argument;
    }
    while (copyPiece(format, at, line)) {
    }
    return line;
}

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
    "\xC3\xA4", "%%%", "\r",
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

std::wstring converted(const std::string& text)
{
    return tolvane::string(text.c_str()).c_str();
}

constexpr std::size_t mostArguments = 2;

/// Writes through the format with arguments of types that the input chooses, and keeps what a
/// stream would write of each.
template <class scope_t, class format_t, class... values_t>
void write(fuzz::choices& input, scope_t& scope, const format_t& format, wides_t& arguments,
           const values_t&... values)
{
    if constexpr (sizeof...(values) < mostArguments) {
        const auto number = static_cast<int>(input.number());
        const std::string text = chosenText(input);
        switch (input.below(4)) {
        case 1:
            arguments.push_back(std::to_wstring(number));
            return write(input, scope, format, arguments, values..., number);
        case 2:
            arguments.push_back(converted(text));
            return write(input, scope, format, arguments, values..., text);
        case 3:
            arguments.push_back(L"(" + std::to_wstring(number) + L";-1)");
            return write(input, scope, format, arguments, values..., point{number, -1});
        default:
            break;
        }
    }
    tolvane::formatwriter::write(scope, tl_always, format, values...);
}

template <class scope_t>
wides_t writeAs(std::size_t kind, fuzz::choices& input, scope_t& scope, const std::string& format)
{
    wides_t arguments;
    const tolvane::string wide(format.c_str());
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
    const wides_t arguments =
        byScope ? writeAs(kind, input, scope, format) : writeAs(kind, input, stream, format);

    const wides_t found = lines.take();
    fuzz::check(found.size() == 1, "one line");
    fuzz::checkText(found[0], modelLine(converted(format), arguments), "line");
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
