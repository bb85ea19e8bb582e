#include <tolvane/formatwriter.h>

#include "support/narrowtext.h"
#include "trace/insidelibrary.h"
#include "trace/numbertext.h"

#include <algorithm>
#include <cstring>
#include <locale>
#include <new>
#include <string>
#include <string_view>

// What becomes of an argument is its type's choice first: of a placeholder that means another one,
// the field and the flags hold, but not the precision.

namespace tolvane {

namespace {

constexpr std::size_t bitsOfByte = 8;

/// Characters before the first NUL.
template <class char_t>
std::size_t boundedLength(const char_t* text, std::size_t longest)
{
    std::size_t length = 0;
    while (length < longest && text[length] != 0) {
        ++length;
    }
    return length;
}

string converted(const char* text, std::size_t length)
{
    const insidelibrary inside;
    return narrowtext::widened(text, length);
}

} // namespace

formatwriter::step formatwriter::stepFor(argument kind)
{
    if (m_placeholder.kind == 'n') {
        return step::omit;
    }
    return isPlainFor(kind) ? step::insert : step::convert;
}

/// Whether the argument is written as if it were inserted. Numbers are not, into a stream, which
/// may have flags of its own.
bool formatwriter::isPlainFor(argument kind)
{
    if (!m_placeholder.isPlain()) {
        return false;
    }
    switch (kind) {
    case argument::integer:
        return !isOf("uoxXc") && m_line.gathers();
    case argument::unsignedInteger:
        return !isOf("oxXc") && m_line.gathers();
    case argument::real:
        return !isOf("fFeEGaA") && m_line.gathers();
    case argument::character:
        return !isOf("diuoxX");
    case argument::textPointer:
    case argument::pointer:
        return !isOf("p");
    case argument::other:
        return !isOf("oxXfFeEGaA");
    default:
        return true;
    }
}

bool formatwriter::isOf(const char* kinds) const noexcept
{
    return std::strchr(kinds, m_placeholder.kind) != nullptr;
}

/// Makes the placeholder one for its argument, if it is none of those that suit it.
void formatwriter::suit(const char* kinds, char otherwise)
{
    if (!isOf(kinds)) {
        m_placeholder.kind = otherwise;
        m_placeholder.precision = placeholder::none;
    }
}

/// Of a negative number, what is not a decimal has the bits that the number has as an argument, at
/// least those of an int; if it is said to be a short one, those of its type.
void formatwriter::convertSigned(long long value, std::size_t size)
{
    const auto bits = static_cast<unsigned long long>(value);
    if (m_placeholder.kind == 'c') {
        convertCharacter(static_cast<char>(value));
        return;
    }
    suit("diuoxX", 'd');
    if (isOf("di")) {
        convertInteger(value < 0 ? 0 - bits : bits, value < 0);
    } else {
        const std::size_t width = m_placeholder.isShort ? size : std::max(size, sizeof(int));
        convertInteger(bits & ~0ULL >> bitsOfByte * (sizeof bits - width), false);
    }
}

void formatwriter::convertUnsigned(unsigned long long value)
{
    if (m_placeholder.kind == 'c') {
        convertCharacter(static_cast<char>(value));
        return;
    }
    suit("diuoxX", 'u');
    convertInteger(value, false);
}

void formatwriter::convertInteger(unsigned long long bits, bool isNegative)
{
    numbertext number;
    number.setInteger(m_placeholder, bits, isNegative);
    writeNumber(number);
}

void formatwriter::convertCharacter(char character)
{
    if (isOf("diuoxX")) {
        convertSigned(character, sizeof character);
    } else {
        m_placeholder.precision = placeholder::none;
        convertText(&character, 1);
    }
}

void formatwriter::convertCharacter(wchar_t character)
{
    if (isOf("diuoxX")) {
        convertSigned(character, sizeof character);
    } else {
        m_placeholder.precision = placeholder::none;
        convertText(&character, 1);
    }
}

void formatwriter::convertReal(double value)
{
    convertAnyReal(value);
}

void formatwriter::convertReal(long double value)
{
    convertAnyReal(value);
}

/// Many digits take memory.
template <class real_t>
void formatwriter::convertAnyReal(real_t value)
{
    if (insidelibrary::isEntered()) {
        m_line.cut();
        return;
    }
    suit("fFeEgGaA", 'g');
    numbertext number;
    try {
        const insidelibrary inside;
        number.setReal(m_placeholder, value);
    } catch (const std::bad_alloc&) {
        m_line.cut();
        return;
    }
    writeNumber(number);
}

void formatwriter::convertAddress(std::uintptr_t address)
{
    numbertext number;
    placeholder how;
    how.kind = 'x';
    how.isAlternative = true;
    number.setInteger(how, address, false);
    m_placeholder.hasZeros = false;
    writeNumber(number);
}

void formatwriter::writeNumber(const numbertext& number)
{
    const std::size_t wanted = padding(number.length());
    const bool isZeros = m_placeholder.hasZeros && !m_placeholder.isLeft && number.takesZeros();
    if (!m_placeholder.isLeft && !isZeros) {
        keepSeveral(' ', wanted);
    }
    keep(number.prefix().data(), number.prefix().size());
    keepSeveral('0', number.zeros() + (isZeros ? wanted : 0));
    writeDigits(number.digits());
    if (m_placeholder.isLeft) {
        keepSeveral(' ', wanted);
    }
}

/// In a stream's locale, if there is one, the point is another one.
void formatwriter::writeDigits(std::string_view digits)
{
    const std::size_t point = digits.find('.');
    if (point == std::string_view::npos || m_line.gathers()) {
        keep(digits.data(), digits.size());
        return;
    }
    const std::locale locale = m_line.m_stream->getloc();
    const wchar_t mark = std::use_facet<std::numpunct<wchar_t>>(locale).decimal_point();
    keep(digits.data(), point);
    keep(&mark, 1);
    keep(digits.data() + point + 1, digits.size() - point - 1);
}

void formatwriter::convertText(const char* text, std::size_t longest)
{
    suit("s", 's');
    const std::size_t length = boundedLength(text, limit(longest));
    if (plaintext::findOdd(text, length) == text + length) {
        writeText(text, length);
    } else if (insidelibrary::isEntered()) {
        m_line.cut();
    } else {
        writeConverted(text, length);
    }
}

/// How many characters there are shows when they are converted.
void formatwriter::writeConverted(const char* text, std::size_t length)
{
    try {
        const string wide = converted(text, length);
        writeText(wide.c_str(), static_cast<std::size_t>(wide.length()));
    } catch (const std::bad_alloc&) {
        m_line.cut();
    }
}

void formatwriter::convertText(const wchar_t* text, std::size_t longest)
{
    suit("s", 's');
    writeText(text, boundedLength(text, limit(longest)));
}

template <class char_t>
void formatwriter::writeText(const char_t* text, std::size_t length)
{
    const std::size_t wanted = padding(length);
    if (!m_placeholder.isLeft) {
        keepSeveral(' ', wanted);
    }
    keep(text, length);
    if (m_placeholder.isLeft) {
        keepSeveral(' ', wanted);
    }
}

void formatwriter::keepSeveral(char character, std::size_t count)
{
    constexpr std::size_t longestPiece = 64;
    char piece[longestPiece];
    std::fill_n(piece, std::min(count, longestPiece), character);
    for (std::size_t done = 0; done < count; done += longestPiece) {
        keep(piece, std::min(count - done, longestPiece));
    }
}

/// How many characters more the field has.
std::size_t formatwriter::padding(std::size_t length) const noexcept
{
    const auto width = static_cast<std::size_t>(std::min(m_placeholder.width, numbertext::most));
    return width > length ? width - length : 0;
}

/// How many characters a text has at most.
std::size_t formatwriter::limit(std::size_t longest) const noexcept
{
    return m_placeholder.precision == placeholder::none
               ? longest
               : std::min(longest, static_cast<std::size_t>(m_placeholder.precision));
}

} // namespace tolvane
