#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/string.h>

#include "support/callerserror.h"
#include "support/clock.h"
#include "support/threadid.h"
#include "trace/packedline.h"
#include "trace/packedlines.h"

#include <cstddef>
#include <cstring>
#include <memory>

// What a line can hold, as it comes in, and how each is put into a packed line.

struct markercontent
{
    formattedline::type_t type;

    static std::size_t size() noexcept { return 0; }
    void put(packedline& line) const noexcept
    {
        line.type = static_cast<unsigned char>(type);
        line.form = packedline::noText;
    }
};

template <class block_t>
void putBlock(packedline& line, packedline::form_t form, std::unique_ptr<block_t> block) noexcept
{
    block_t* const owned = block.release(); // the line's now
    std::memcpy(line.payload(), &owned, sizeof owned);
    line.form = form;
}

/// Most lines have so few bytes that a call would take as long as the copying.
inline void copyShort(unsigned char* to, const unsigned char* from, std::size_t count) noexcept
{
    constexpr std::size_t word = sizeof(unsigned long long);
    constexpr std::size_t shortest = word;
    constexpr std::size_t longest = 8 * word;
    if (count < shortest || count > longest) {
        std::memcpy(to, from, count);
        return;
    }
    const std::size_t last = count - word; // may overlap the word before
    for (std::size_t at = 0; at < last; at += word) {
        std::memcpy(to + at, from + at, word);
    }
    std::memcpy(to + last, from + last, word);
}

struct operandcontent
{
    const unsigned char* operands;
    std::size_t count;

    static constexpr formattedline::type_t type = formattedline::tt_text;

    bool isLong() const noexcept { return count > packedline::longestPayload; }
    std::size_t size() const noexcept { return isLong() ? sizeof(operandtext*) : count; }

    void put(packedline& line) const
    {
        line.type = type;
        if (isLong()) {
            const tolvane::CallersError callersError;
            auto block = std::make_unique<operandtext>(count);
            std::memcpy(block->bytes, operands, count);
            putBlock(line, packedline::operandblock, std::move(block));
        } else {
            copyShort(line.payload(), operands, count);
            line.form = packedline::operands;
        }
    }
};

struct textcontent
{
    tolvane::string& text;

    static constexpr formattedline::type_t type = formattedline::tt_text;

    std::size_t bytes() const noexcept
    {
        return static_cast<std::size_t>(text.length()) * sizeof(wchar_t);
    }
    bool isLong() const noexcept { return bytes() > packedline::longestPayload; }
    std::size_t size() const noexcept { return isLong() ? sizeof(tolvane::string*) : bytes(); }

    void put(packedline& line) const
    {
        line.type = type;
        if (isLong()) {
            const tolvane::CallersError callersError;
            auto block = std::make_unique<tolvane::string>();
            block->swapText(text);
            putBlock(line, packedline::textblock, std::move(block));
        } else {
            std::memcpy(line.payload(), text.c_str(), bytes());
            line.form = packedline::characters;
        }
    }
};

/// Throws std::bad_alloc.
template <class content_t>
void fillLine(packedline& line, tracelevel_t level, const hashedfunction& function,
              const content_t& content)
{
    line.size = static_cast<unsigned short>(content.size());
    line.function = &function;
    line.level = level;
    content.put(line);
}

/// Appends a line of the calling thread, made now. Throws std::bad_alloc; nothing has changed then.
template <class content_t>
void appendLine(packedlines& lines, tracelevel_t level, const hashedfunction& function,
                const content_t& content)
{
    queuedline& line = lines.prepare(content.size());
    const tolvane::Clock& clock = tolvane::Clock::current();
    line.time = clock.localMilliseconds();
    line.utc = clock.utcOf(line.time, clock.utcNanoseconds());
    line.threadId = tolvane::currentThreadId();
    fillLine(line, level, function, content);
    if (threadname* const name = threadname::mine()) {
        line.name = name->hold();
    }
    lines.add(line);
}
