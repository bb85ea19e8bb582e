#pragma once

#include <tolvane/operand.h>

#include "tests/fuzz/choices.h"

#include <cstdint>
#include <cstring>
#include <locale>
#include <sstream>
#include <string>

namespace fuzz {

/// Operands as a traced line keeps them, and the text that is to become of them.
class encodedoperands
{
public:
    const std::string& bytes() const { return m_bytes; }
    const std::wstring& text() const { return m_text; }

    void add(choices& input)
    {
        using tolvane::operand;
        switch (input.below(13)) {
        case 0:
            return addNumber(operand::truth, input.truth() ? 1 : 0);
        case 1:
            return addNumber(operand::shortInteger,
                             static_cast<int>(static_cast<short>(input.number())));
        case 2:
            return addNumber(operand::unsignedShort,
                             static_cast<int>(static_cast<unsigned short>(input.number())));
        case 3:
            return addNumber(operand::integer, static_cast<int>(input.number()));
        case 4:
            return addNumber(operand::unsignedInteger, static_cast<unsigned int>(input.number()));
        case 5:
            return addNumber(operand::longInteger, static_cast<long>(input.number()));
        case 6:
            return addNumber(operand::unsignedLong, static_cast<unsigned long>(input.number()));
        case 7:
            return addNumber(operand::longLong, static_cast<long long>(input.number()));
        case 8:
            return addNumber(operand::unsignedLongLong, input.number());
        case 9:
            return addReal(input);
        case 10:
            return addPointer(static_cast<std::uintptr_t>(input.number()));
        case 11:
            return addWide(input);
        default:
            return addText(input);
        }
    }

private:
    void addBytes(const void* from, std::size_t count)
    {
        m_bytes.append(static_cast<const char*>(from), count);
    }

    void addKind(tolvane::operand kind) { m_bytes += static_cast<char>(kind); }

    template <class value_t>
    void addText(const value_t& value)
    {
        std::wostringstream stream;
        stream.imbue(std::locale::classic());
        stream << value;
        m_text += stream.str();
    }

    template <class number_t>
    void addNumber(tolvane::operand kind, number_t number)
    {
        addKind(kind);
        addBytes(&number, sizeof number);
        m_text += std::to_wstring(number);
    }

    /// Any bits at all.
    void addReal(choices& input)
    {
        const unsigned long long bits = input.number();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        const auto longNumber = static_cast<long double>(number);
        if (input.truth()) {
            addKind(tolvane::operand::real);
            addBytes(&number, sizeof number);
            addText(number);
        } else {
            addKind(tolvane::operand::longReal);
            addBytes(&longNumber, sizeof longNumber);
            addText(longNumber);
        }
    }

    void addPointer(std::uintptr_t address)
    {
        addKind(tolvane::operand::pointer);
        addBytes(&address, sizeof address);
        addText(reinterpret_cast<const void*>(address));
    }

    /// Around the lengths that matter: of short texts, of the reader's buffer, of a line's payload.
    static std::size_t chosenLength(choices& input)
    {
        static constexpr std::size_t lengths[] = {0,   1,   2,   7,   8,   63,   127, 128,
                                                  129, 255, 256, 511, 512, 1000, 3000};
        return input.truth() ? input.below(256) : input.of(lengths);
    }

    void addText(choices& input)
    {
        const auto length = static_cast<std::uint32_t>(chosenLength(input));
        const std::string text(length, static_cast<char>(' ' + input.below(95)));
        if (length <= tolvane::longestShortText) {
            m_bytes += static_cast<char>(0x80U + length);
        } else {
            addKind(tolvane::operand::text);
            addBytes(&length, sizeof length);
        }
        m_bytes += text;
        m_text.append(text.begin(), text.end());
    }

    void addWide(choices& input)
    {
        const auto length = static_cast<std::uint32_t>(chosenLength(input));
        const std::wstring text(length, static_cast<wchar_t>(1 + input.below(0xFFFF)));
        addKind(tolvane::operand::wideText);
        addBytes(&length, sizeof length);
        addBytes(text.data(), text.size() * sizeof(wchar_t));
        m_text += text;
    }

    std::string m_bytes;
    std::wstring m_text;
};

} // namespace fuzz
