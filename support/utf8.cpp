#include "support/utf8.h"

namespace tolvane::utf8 {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char32_t lastCharacter = 0x10FFFF;
constexpr char32_t firstSupplementary = 0x10000;
constexpr char32_t firstHighSurrogate = 0xD800;
constexpr char32_t firstLowSurrogate = 0xDC00;
constexpr char32_t lastSurrogate = 0xDFFF;
constexpr unsigned int surrogateBits = 10; ///< of a character that each surrogate holds

constexpr unsigned int followingBits = 6; ///< that each byte behind the first holds
constexpr unsigned int followingMask = 0x3F;
constexpr unsigned int following = 0x80; ///< marks such a byte
constexpr unsigned int lastByte = 0xFF;
constexpr bool isUtf16 = sizeof(wchar_t) == 2;

/// The first character of a text.
struct character
{
    char32_t value;
    std::size_t length; ///< in the text's units
    bool isWellFormed = true;
};

constexpr character illFormed(std::size_t length) noexcept
{
    return {replacement, length, false};
}

/// How many bytes follow a first one; none where no character begins.
std::size_t bytesBehind(unsigned int first) noexcept
{
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
}

/// \param text  not empty.
character decode(std::string_view text) noexcept
{
    const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned int first = byte(0);
    if (first < following) {
        return {first, 1};
    }
    const std::size_t more = bytesBehind(first);
    if (more == 0) {
        return illFormed(1);
    }
    // The second byte excludes longer forms than need be, surrogates and what is beyond Unicode.
    unsigned int least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : following;
    unsigned int greatest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : following | followingMask;
    char32_t value = first & (followingMask >> more);
    for (std::size_t at = 1; at <= more; ++at) {
        if (at == text.size() || byte(at) < least || byte(at) > greatest) {
            return illFormed(at);
        }
        value = value << followingBits | (byte(at) & followingMask);
        least = following;
        greatest = following | followingMask;
    }
    return {value, more + 1};
}

bool isSurrogate(char32_t unit) noexcept
{
    return unit >= firstHighSurrogate && unit <= lastSurrogate;
}

/// \param text  not empty.
character decode(std::wstring_view text) noexcept
{
    const auto first = static_cast<char32_t>(text[0]);
    if (first > lastCharacter) {
        return illFormed(1);
    }
    if (!isSurrogate(first)) {
        return {first, 1};
    }
    if (isUtf16 && first < firstLowSurrogate && text.size() > 1) {
        const auto second = static_cast<char32_t>(text[1]);
        if (second >= firstLowSurrogate && second <= lastSurrogate) {
            return {firstSupplementary + ((first - firstHighSurrogate) << surrogateBits) +
                        (second - firstLowSurrogate),
                    2};
        }
    }
    return illFormed(1);
}

void append(std::wstring& to, char32_t value)
{
    if (!isUtf16 || value < firstSupplementary) {
        to += static_cast<wchar_t>(value);
        return;
    }
    const char32_t bits = value - firstSupplementary;
    to += static_cast<wchar_t>(firstHighSurrogate + (bits >> surrogateBits));
    to += static_cast<wchar_t>(firstLowSurrogate + (bits & ((1U << surrogateBits) - 1)));
}

void append(std::string& to, char32_t value)
{
    if (value < following) {
        to += static_cast<char>(value);
        return;
    }
    const unsigned int more = value < 0x800 ? 1 : value < firstSupplementary ? 2 : 3;
    const unsigned int mark = 0xF0U << (3 - more) & 0xFFU; // as many high bits as there are bytes
    to += static_cast<char>(mark | value >> (more * followingBits));
    for (unsigned int left = more; left-- > 0;) {
        to += static_cast<char>(following | (value >> (left * followingBits) & followingMask));
    }
}

template <class to_t, class from_t>
void convert(to_t& to, from_t text)
{
    while (!text.empty()) {
        const character first = decode(text);
        append(to, first.value);
        text.remove_prefix(first.length);
    }
}

} // namespace

void appendWide(std::wstring& to, std::string_view text)
{
    convert(to, text);
}

void appendNarrow(std::string& to, std::wstring_view text)
{
    convert(to, text);
}

void appendWideWithBytes(std::wstring& to, std::string_view text)
{
    while (!text.empty()) {
        const character first = decode(text);
        if (first.isWellFormed) {
            append(to, first.value);
        } else {
            for (const char byte : text.substr(0, first.length)) {
                to += static_cast<wchar_t>(firstLowSurrogate + static_cast<unsigned char>(byte));
            }
        }
        text.remove_prefix(first.length);
    }
}

void appendBytes(std::string& to, std::wstring_view text)
{
    while (!text.empty()) {
        const character first = decode(text);
        const auto byte = static_cast<char32_t>(text[0]) - firstLowSurrogate;
        if (!first.isWellFormed && byte >= following && byte <= lastByte) {
            to += static_cast<char>(byte);
        } else {
            append(to, first.value);
        }
        text.remove_prefix(first.length);
    }
}

} // namespace tolvane::utf8
