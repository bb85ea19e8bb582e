#include "trace/operands.h"

#include "tests/fuzz/check.h"
#include "tests/fuzz/encodedoperands.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/fuzz/tracedlines.h"

#include <algorithm>
#include <cstring>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using wides_t = std::vector<std::wstring>;

/// The lines that come of one statement: characters may end one before its end. Behind the end of
/// file, given as a character, a stream writes nothing.
class modellines
{
public:
    void write(const std::wstring& text)
    {
        if (!m_failed) {
            m_lines.back() += text;
        }
    }

    template <class value_t>
    void writeValue(const value_t& value)
    {
        std::wostringstream stream;
        stream.imbue(std::locale::classic());
        stream << value;
        write(stream.str());
    }

    void put(wchar_t character)
    {
        using traits_t = std::char_traits<wchar_t>;
        const bool isEnd = traits_t::eq_int_type(traits_t::to_int_type(character), traits_t::eof());
        if (!m_failed && (isEnd || character == L'\n' || character == L'\r')) {
            m_lines.emplace_back();
        } else if (character != 0) {
            write(std::wstring(1, character));
        }
        m_failed = m_failed || isEnd;
    }

    const wides_t& get() const { return m_lines; }

private:
    wides_t m_lines = {L""};
    bool m_failed = false;
};

/// A character is a byte in the locale of this program.
std::wstring converted(const std::string& text)
{
    std::wstring wide;
    for (const char character : std::string(text.c_str())) {
        wide += tolvane::string(std::string(1, character)).c_str();
    }
    return wide;
}

/// Some bytes, often repeated; NULs among them.
std::string chosenText(fuzz::choices& input)
{
    constexpr std::size_t manyTimes = 90;
    const std::string piece = input.bytes(20);
    std::string text;
    for (std::size_t times = input.below(16) == 15 ? manyTimes : 1; times != 0; --times) {
        text += piece;
    }
    return text;
}

std::wstring chosenWide(fuzz::choices& input)
{
    std::wstring wide;
    for (const char character : chosenText(input)) {
        const auto unit = static_cast<unsigned char>(character);
        wide += static_cast<wchar_t>(unit < 0x80 ? unit : unit * 100);
    }
    return wide;
}

template <class value_t>
void insertNumber(tolvane::tracedline& line, modellines& model, value_t value)
{
    line << value;
    model.write(std::to_wstring(value));
}

void insertInteger(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    const unsigned long long bits = input.number();
    switch (input.below(8)) {
    case 0:
        return insertNumber(line, model, static_cast<short>(bits));
    case 1:
        return insertNumber(line, model, static_cast<unsigned short>(bits));
    case 2:
        return insertNumber(line, model, static_cast<unsigned int>(bits));
    case 3:
        return insertNumber(line, model, static_cast<long>(bits));
    case 4:
        return insertNumber(line, model, static_cast<unsigned long>(bits));
    case 5:
        return insertNumber(line, model, static_cast<long long>(bits));
    case 6:
        return insertNumber(line, model, bits);
    default:
        return insertNumber(line, model, static_cast<int>(bits));
    }
}

void insertReal(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    const unsigned long long bits = input.number();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    if (input.truth()) {
        line << number;
        model.writeValue(number);
    } else {
        line << static_cast<long double>(number);
        model.writeValue(static_cast<long double>(number));
    }
}

void insertCharacter(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    if (input.truth()) {
        const auto character = static_cast<char>(input.byte());
        line << character;
        if (static_cast<unsigned char>(character) < 0x80) {
            model.put(static_cast<wchar_t>(character));
        } else {
            model.write(converted(std::string(1, character)));
        }
    } else {
        const auto character = static_cast<wchar_t>(input.number());
        line << character;
        model.put(character);
    }
}

/// A NUL ends each of them.
void insertText(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    const std::string text = chosenText(input);
    switch (input.below(3)) {
    case 0:
        line << text;
        break;
    case 1:
        line << std::string_view(text);
        break;
    default:
        line << text.c_str();
        break;
    }
    model.write(converted(text));
}

void insertWide(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    const std::wstring text = chosenWide(input);
    switch (input.below(4)) {
    case 0:
        line << text;
        break;
    case 1:
        line << std::wstring_view(text);
        break;
    case 2:
        line << tolvane::string(text.c_str());
        break;
    default:
        line << text.c_str();
        break;
    }
    model.write(text.c_str());
}

void insert(fuzz::choices& input, tolvane::tracedline& line, modellines& model)
{
    switch (input.below(8)) {
    case 0:
        return insertReal(input, line, model);
    case 1:
        return insertCharacter(input, line, model);
    case 2:
    case 3:
        return insertText(input, line, model);
    case 4:
        return insertWide(input, line, model);
    case 5: {
        const auto* const address =
            reinterpret_cast<const void*>(static_cast<std::uintptr_t>(input.number()));
        line << address;
        return model.writeValue(address);
    }
    case 6: {
        const bool truth = input.truth();
        line << truth;
        return model.writeValue(truth);
    }
    default:
        return insertInteger(input, line, model);
    }
}

template <class scope_t>
void checkLine(fuzz::choices& input, scope_t& scope, fuzz::tracedlines& lines)
{
    modellines model;
    {
        tolvane::tracedline line(scope, tl_always);
        for (std::size_t count = input.below(8); count != 0; --count) {
            insert(input, line, model);
        }
    }
    const wides_t found = lines.take();
    fuzz::check(found.size() == model.get().size(), "the number of lines");
    for (std::size_t line = 0; line < found.size(); ++line) {
        fuzz::checkText(found[line], model.get()[line], "line");
    }
}

/// Operands that are cut off, or followed by bytes that are none: what stands before is written,
/// and nothing beyond the bytes is read.
void checkReader(fuzz::choices& input)
{
    fuzz::encodedoperands whole;
    for (std::size_t count = input.below(6); count != 0; --count) {
        whole.add(input);
    }
    const bool isCut = input.truth();
    const std::string bytes = isCut ? whole.bytes().substr(0, input.below(whole.bytes().size() + 1))
                                    : whole.bytes() + input.bytes(200);
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    tolvane::string text;
    operandreader reader;
    reader.append(text, exact.get(), bytes.size());

    const std::wstring read(text.c_str(), static_cast<std::size_t>(text.length()));
    const std::wstring& longer = isCut ? whole.text() : read;
    const std::wstring& shorter = isCut ? read : whole.text();
    fuzz::checkText(longer.substr(0, shorter.size()), shorter, "text of operands");
}

} // namespace

void fuzz::operands(choices& input)
{
    static const hashedfunction* function = nullptr;
    tracedlines lines;
    tolvane::scope scope(function, "void operands()");
    traceobject stream(function, "void operands()");
    while (!input.empty()) {
        switch (input.below(4)) {
        case 0:
            checkReader(input);
            break;
        case 1:
            checkLine(input, stream, lines);
            break;
        default:
            checkLine(input, scope, lines);
            break;
        }
    }
}
