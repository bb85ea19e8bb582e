#include "trace/operands.h"

#include "tests/helpers/localeguard.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cfenv>
#include <cstdint>
#include <limits>
#include <locale>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using bytes_t = std::vector<unsigned char>;

/// As far as bytes go, and no further: a tool that watches memory sees every step beyond.
std::wstring decoded(const bytes_t& bytes)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    tolvane::string text;
    operandreader reader;
    reader.append(text, exact.get(), bytes.size());
    return {text.c_str(), static_cast<std::size_t>(text.length())};
}

template <class value_t>
bytes_t encoded(tolvane::operand kind, value_t value)
{
    const auto* const first = reinterpret_cast<const unsigned char*>(&value);
    bytes_t bytes(1 + sizeof value);
    bytes[0] = static_cast<unsigned char>(kind);
    std::copy_n(first, sizeof value, bytes.begin() + 1);
    return bytes;
}

template <class char_t>
bytes_t encodedText(tolvane::operand kind, const std::basic_string<char_t>& text)
{
    const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size() * sizeof(char_t);
    const bytes_t count = encoded(kind, static_cast<std::uint32_t>(text.size()));
    bytes_t bytes(count.size() + size);
    std::copy(count.begin(), count.end(), bytes.begin());
    std::copy_n(first, size, bytes.end() - static_cast<std::ptrdiff_t>(size));
    return bytes;
}

bytes_t encodedShort(const std::string& text)
{
    bytes_t bytes(1 + text.size());
    bytes[0] = static_cast<unsigned char>(0x80 + text.size());
    std::copy(text.begin(), text.end(), bytes.begin() + 1);
    return bytes;
}

bytes_t joined(const std::vector<bytes_t>& parts)
{
    bytes_t all;
    for (const bytes_t& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// What a stream makes of the value.
template <class value_t>
std::wstring written(value_t value)
{
    std::wostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

template <class value_t>
void checkNumbers(tolvane::operand kind)
{
    using limits = std::numeric_limits<value_t>;
    for (const value_t value : {limits::min(), limits::max(), limits::lowest(), value_t(0),
                                value_t(1), value_t(9), value_t(10), value_t(12345)}) {
        CHECK(decoded(encoded(kind, value)) == written(value));
    }
}

template <class value_t>
void checkReals(tolvane::operand kind)
{
    using limits = std::numeric_limits<value_t>;
    checkNumbers<value_t>(kind);
    for (const value_t value :
         {limits::infinity(), -limits::infinity(), limits::quiet_NaN(), -limits::quiet_NaN(),
          limits::denorm_min(), value_t(-0.0), value_t(0.1L), value_t(1e100L), value_t(123456.789L),
          value_t(1234567.89L)}) {
        CHECK(decoded(encoded(kind, value)) == written(value));
    }
}

/// One operand of each kind.
bytes_t oneOfEach()
{
    using tolvane::operand;
    return joined({encodedText(operand::text, std::string("text")),
                   encodedText(operand::wideText, std::wstring(L"wide \x20AC")),
                   encoded(operand::truth, 1), encoded(operand::shortInteger, -2),
                   encoded(operand::unsignedShort, 3), encoded(operand::integer, -4),
                   encoded(operand::unsignedInteger, 5U), encoded(operand::longInteger, -6L),
                   encoded(operand::unsignedLong, 7UL), encoded(operand::longLong, -8LL),
                   encoded(operand::unsignedLongLong, 9ULL), encoded(operand::real, 1.5),
                   encoded(operand::longReal, 2.5L),
                   encoded(operand::pointer, std::uintptr_t{0x1234}), encodedShort("short")});
}

} // namespace

TEST_CASE("kept integers are written in decimal", "[trace][operands]")
{
    using tolvane::operand;
    checkNumbers<int>(operand::truth);
    checkNumbers<int>(operand::shortInteger);
    checkNumbers<int>(operand::unsignedShort);
    checkNumbers<int>(operand::integer);
    checkNumbers<unsigned int>(operand::unsignedInteger);
    checkNumbers<long>(operand::longInteger);
    checkNumbers<unsigned long>(operand::unsignedLong);
    checkNumbers<long long>(operand::longLong);
    checkNumbers<unsigned long long>(operand::unsignedLongLong);
}

TEST_CASE("kept reals and pointers are written as a stream writes them", "[trace][operands]")
{
    checkReals<double>(tolvane::operand::real);
    checkReals<long double>(tolvane::operand::longReal);
    for (const std::uintptr_t address :
         {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{0xABCDEF}, ~std::uintptr_t{0}}) {
        CHECK(decoded(encoded(tolvane::operand::pointer, address)) ==
              written(reinterpret_cast<const void*>(address)));
    }
}

TEST_CASE("kept reals are rounded to nearest on whatever thread they are written",
          "[trace][operands]")
{
    std::fesetround(FE_UPWARD);
    const std::wstring upward = decoded(encoded(tolvane::operand::real, 1.0000001));
    const int after = std::fegetround();
    std::fesetround(FE_TONEAREST);

    CHECK(upward == L"1");
    CHECK(after == FE_UPWARD);
}

TEST_CASE("kept operands do not follow the locale that is global when they are written",
          "[trace][operands]")
{
    class grouping : public std::numpunct<wchar_t>
    {
        std::string do_grouping() const override { return "\1"; }
        wchar_t do_decimal_point() const override { return L'!'; }
    };
    const localeguard guard(std::locale(std::locale::classic(), new grouping));

    CHECK(decoded(encoded(tolvane::operand::real, 12.5)) == L"12.5");
    CHECK(decoded(encoded(tolvane::operand::integer, 1234)) == L"1234");
}

TEST_CASE("kept text of any length arrives whole, and behind what the line holds",
          "[trace][operands]")
{
    for (const unsigned int length : {0U, 1U, 2U, 7U, 8U, 126U, 127U}) {
        CHECK(decoded(encodedShort(std::string(length, 'x'))) == std::wstring(length, L'x'));
    }
    for (const unsigned int length : {0U, 1U, 511U, 512U, 513U, 1024U, 100000U}) {
        using tolvane::operand;
        CHECK(
            decoded(joined({encodedShort("<"), encodedText(operand::text, std::string(length, 'x')),
                            encodedText(operand::wideText, std::wstring(length, L'y')),
                            encodedShort(">")})) ==
            L"<" + std::wstring(length, L'x') + std::wstring(length, L'y') + L">");
    }
    tolvane::string text(L"before ");
    const bytes_t bytes = encodedShort("after");

    operandreader reader;
    reader.append(text, bytes.data(), bytes.size());

    CHECK(text.c_str() == std::wstring(L"before after"));
}

TEST_CASE("a reader writes one line after another", "[trace][operands]")
{
    const bytes_t bytes = joined({encoded(tolvane::operand::real, 0.5), encodedShort(";")});
    operandreader reader;
    tolvane::string first;
    tolvane::string second;

    reader.append(first, bytes.data(), bytes.size());
    reader.append(second, bytes.data(), bytes.size());

    CHECK(first.c_str() == std::wstring(L"0.5;"));
    CHECK(second.c_str() == std::wstring(L"0.5;"));
}

TEST_CASE("of operands that are cut off, those before the cut are written", "[trace][operands]")
{
    const bytes_t whole = oneOfEach();
    const std::wstring text = std::wstring(L"textwide \x20AC") + L"1-23-45-67-891.52.50x1234short";
    REQUIRE(decoded(whole) == text);
    std::size_t before = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::wstring part =
            decoded(bytes_t(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));

        CHECK(part == text.substr(0, part.size()));
        CHECK(part.size() >= before);
        before = part.size();
    }
}

TEST_CASE("a count beyond the bytes that follow writes nothing", "[trace][operands]")
{
    using tolvane::operand;
    const bytes_t following = encodedShort("more");
    for (const std::uint32_t count : {6U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        CHECK(decoded(joined({encoded(operand::text, count), following})).empty());
        CHECK(decoded(joined({encoded(operand::wideText, count), following})).empty());
    }
    CHECK(decoded(bytes_t{0xFF, 'x'}).empty());
}

TEST_CASE("what is no operand ends the text", "[trace][operands]")
{
    for (const unsigned char kind :
         {static_cast<unsigned char>(0), static_cast<unsigned char>(tolvane::operand::character),
          static_cast<unsigned char>(tolvane::operand::none), static_cast<unsigned char>(0x7F)}) {
        CHECK(decoded(joined({encodedShort("a"), bytes_t(1, kind), encodedShort("b")})) == L"a");
    }
}

TEST_CASE("whatever bytes come, nothing beyond them is read", "[trace][operands]")
{
    constexpr unsigned int seed = 20240305;
    constexpr int rounds = 20000;
    constexpr unsigned int longest = 64;
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        bytes_t bytes(random() % longest);
        for (unsigned char& byte : bytes) {
            // half of them kinds, so that there is something to read
            byte = static_cast<unsigned char>(random() % 2 == 0 ? random() % 20 : random());
        }
        decoded(bytes);
    }
    SUCCEED("no tool complained");
}
