#pragma once

#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <cstddef>
#include <cstring>

class hashedfunction;

/// Encoded operands that are too many to lie behind a line.
struct operandtext
{
    explicit operandtext(std::size_t count) : size(count), bytes(new unsigned char[count]) {}
    ~operandtext() { delete[] bytes; }

    operandtext(const operandtext&) = delete;
    operandtext& operator=(const operandtext&) = delete;

    const std::size_t size;
    unsigned char* const bytes;
};

/// A line as it was captured, on its way to whoever makes its text. Its payload follows.
struct packedline
{
    /// How the payload holds the text.
    enum form_t : unsigned char
    {
        noText,       ///< entry and exit lines
        operands,     ///< encoded, see operandreader
        characters,   ///< wide ones
        operandblock, ///< a pointer to an operandtext, which is owned
        textblock,    ///< a pointer to a tolvane::string, which is owned
    };

    /// Longest payload, in bytes; longer ones travel as blocks of their own.
    static constexpr std::size_t longestPayload = 1024;

    unsigned long long time; ///< milliseconds since 1970 on the local wall clock
    const hashedfunction* function;
    tracelevel_t level;
    unsigned short size; ///< of the payload, in bytes
    unsigned char type;  ///< a formattedline::type_t
    form_t form;

    /// Bytes that a payload takes up: what comes behind it is aligned.
    static std::size_t padded(std::size_t payloadSize) noexcept
    {
        constexpr std::size_t alignment = alignof(packedline);
        return (payloadSize + alignment - 1) / alignment * alignment;
    }

    const unsigned char* payload() const noexcept
    {
        return reinterpret_cast<const unsigned char*>(this + 1);
    }

    unsigned char* payload() noexcept { return reinterpret_cast<unsigned char*>(this + 1); }

    operandtext* operandBlock() const noexcept { return block<operandtext>(operandblock); }
    tolvane::string* textBlock() const noexcept { return block<tolvane::string>(textblock); }
    bool hasBlock() const noexcept { return form >= operandblock; }

    void freeBlock() const noexcept
    {
        delete operandBlock();
        delete textBlock();
    }

private:
    /// What the payload points to; null in a line of another form.
    template <class block_t>
    block_t* block(form_t ofForm) const noexcept
    {
        block_t* pointed = nullptr;
        if (form == ofForm) {
            std::memcpy(&pointed, payload(), sizeof pointed);
        }
        return pointed;
    }
};
