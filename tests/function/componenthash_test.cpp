#include "function/componenthash.h"

#include <catch2/catch.hpp>

#include <cstdint>
#include <cwchar>
#include <initializer_list>
#include <string>

namespace {

long long hashOf(const std::wstring& text)
{
    return componentHash(text.c_str(), text.size());
}

/// The low 32 bits, widened with their sign.
long long widened(std::uint32_t low)
{
    return static_cast<std::int32_t>(low);
}

/// 64-bit FNV-1a over bytes, by the book.
std::uint64_t fnv(std::initializer_list<unsigned char> bytes)
{
    std::uint64_t hash = 14695981039346656037U;
    for (const unsigned char byte : bytes) {
        hash ^= byte;
        hash *= 1099511628211U;
    }
    return hash;
}

} // namespace

TEST_CASE("the hash of an empty text is the offset basis's low half with its sign", "[function]")
{
    CHECK(hashOf(L"") == -0x7BDDDCDBLL);
    CHECK(hashOf(L"") == widened(0x84222325));
    CHECK(hashOf(L"") < 0);
}

TEST_CASE("a hash is taken over 16-bit characters, low byte first", "[function]")
{
    const struct
    {
        const wchar_t* text;
        std::uint64_t expected;
    } vectors[] = {
        {L"a", fnv({'a', 0})},
        {L"ab", fnv({'a', 0, 'b', 0})},
        {L"foobar", fnv({'f', 0, 'o', 0, 'o', 0, 'b', 0, 'a', 0, 'r', 0})},
        {L"\u00E4", fnv({0xE4, 0x00})},
        {L"\u0416", fnv({0x16, 0x04})},
        {L"\uFFFF", fnv({0xFF, 0xFF})},
    };

    for (const auto& vector : vectors) {
        CHECK(hashOf(vector.text) == widened(static_cast<std::uint32_t>(vector.expected)));
    }
}

TEST_CASE("a hash of known texts is the same number on every platform", "[function]")
{
    // computed elsewhere, so that a mistake in both implementations here would show
    CHECK(hashOf(L"a") == -1253772828);
    CHECK(hashOf(L"main") == 1662195718);
    CHECK(hashOf(L"FaultHandler") == 494205615);
}

TEST_CASE("a character beyond 16 bits is hashed as its surrogate pair", "[function]")
{
    const std::uint64_t expected = fnv({0x3D, 0xD8, 0x00, 0xDE}); // D83D DE00
    const wchar_t pair[] = {wchar_t(0xD83D), wchar_t(0xDE00)};

    CHECK(hashOf(L"\U0001F600") == widened(static_cast<std::uint32_t>(expected)));
    CHECK(componentHash(pair, 2) == hashOf(L"\U0001F600"));
    CHECK(hashOf(L"\U00010000") ==
          widened(static_cast<std::uint32_t>(fnv({0x00, 0xD8, 0x00, 0xDC}))));
    CHECK(hashOf(L"\U0010FFFF") ==
          widened(static_cast<std::uint32_t>(fnv({0xFF, 0xDB, 0xFF, 0xDF}))));
}

TEST_CASE("a hash tells letter case, order and length apart", "[function]")
{
    CHECK(hashOf(L"Name") != hashOf(L"name"));
    CHECK(hashOf(L"ab") != hashOf(L"ba"));
    CHECK(hashOf(L"a") != hashOf(L"aa"));
    CHECK(hashOf(L"a ") != hashOf(L"a"));
}

TEST_CASE("only as many characters as given are hashed", "[function]")
{
    CHECK(componentHash(L"abc", 2) == hashOf(L"ab"));
    CHECK(componentHash(L"abc", 0) == hashOf(L""));
}
