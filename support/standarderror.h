#pragma once

#include <cstddef>

namespace tolvane {

/// Writes bytes to the process's standard error, past all streams and their locks. Line feeds are
/// the platform's line ends.
///
/// What a pipe does not take within a second, since nobody reads it, is lost; so is, at once, what
/// follows while that is so. Any thread may call it, also after a fault.
void writeStandardError(const char* bytes, std::size_t count) noexcept;

/// Gathers what is written there, until there is enough of it or the object ends. Takes no memory.
class StandardErrorText
{
public:
    StandardErrorText() noexcept = default;
    ~StandardErrorText() { flush(); }

    StandardErrorText(const StandardErrorText&) = delete;
    StandardErrorText& operator=(const StandardErrorText&) = delete;

    void put(char character) noexcept
    {
        if (m_count == sizeof m_bytes) {
            flush();
        }
        m_bytes[m_count++] = character;
    }

    void put(const char* text) noexcept
    {
        for (; *text != '\0'; ++text) {
            put(*text);
        }
    }

private:
    void flush() noexcept
    {
        writeStandardError(m_bytes, m_count);
        m_count = 0;
    }

    char m_bytes[512];
    std::size_t m_count = 0;
};

} // namespace tolvane
