#include "function/componenthash.h"

#include <cstdint>

namespace {

constexpr std::uint64_t fnvOffsetBasis = 0xcbf29ce484222325;
constexpr std::uint64_t fnvPrime = 0x100000001b3;
constexpr std::uint32_t firstBeyondUtf16Unit = 0x10000;
constexpr std::uint32_t firstBeyondUnicode = 0x110000;
constexpr std::uint32_t replacementCharacter = 0xFFFD;

std::uint64_t addUnit(std::uint64_t hash, std::uint32_t unit) noexcept
{
    hash = (hash ^ (unit & 0xFF)) * fnvPrime;
    return (hash ^ (unit >> 8)) * fnvPrime;
}

std::uint64_t addCharacter(std::uint64_t hash, std::uint32_t character) noexcept
{
    if (character < firstBeyondUtf16Unit) {
        return addUnit(hash, character);
    }
    if (character >= firstBeyondUnicode) {
        return addUnit(hash, replacementCharacter);
    }
    const std::uint32_t offset = character - firstBeyondUtf16Unit;
    return addUnit(addUnit(hash, 0xD800 + (offset >> 10)), 0xDC00 + (offset & 0x3FF));
}

} // namespace

long long componentHash(const wchar_t* text, unsigned long long length) noexcept
{
    std::uint64_t hash = fnvOffsetBasis;
    for (unsigned long long i = 0; i < length; ++i) {
        hash = addCharacter(hash, static_cast<std::uint32_t>(text[i]));
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(hash));
}
