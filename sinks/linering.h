#pragma once

#include <cstddef>
#include <string_view>

/// Lines one behind the other in a piece of memory, the newest in the place of the oldest, as
/// docs/recorder.md describes it to others. Whoever looks at the memory finds whole lines, at
/// whatever moment the writing was stopped for good. Used by one thread at a time.
class linering
{
public:
    /// What the memory begins with.
    static constexpr std::string_view mark = {"tolvane recorder file 1\n\0\0\0\0\0\0\0\0", 32};

    /// Bytes before the lines.
    static constexpr std::size_t headerSize = 64;

    /// Goes on with the lines that are there, or begins anew where there are none.
    /// \param memory  aligned as its header.
    /// \param size    bytes, more than the header's.
    linering(unsigned char* memory, std::size_t size) noexcept;

    /// \param text  a line without its end, with no 0 in it.
    /// \return false when it is longer than all that there is.
    bool write(std::string_view text) noexcept;

private:
    struct header
    {
        char mark[32];
        unsigned long long size;  ///< bytes for lines
        unsigned long long first; ///< where the oldest line begins
        unsigned long long end;   ///< where the newest line ends
        unsigned long long unused;
    };
    static_assert(sizeof(header) == headerSize);

    bool hasLines() const noexcept;
    void begin() noexcept;
    void dropOldest() noexcept;
    void put(unsigned long long place, std::string_view bytes) noexcept;

    header& m_header;
    unsigned char* const m_bytes;
    const std::size_t m_size; ///< of m_bytes

    // As in the header, where others could have written.
    unsigned long long m_first = 0;
    unsigned long long m_end = 0;
};
