#include "sinks/linering.h"

#include "support/atomicref.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::string_view lineEnd = {"\n\0", 2}; // with the 0

/// Other processes see what this one has stored in the order in which it stored it, since the
/// processor keeps that; this keeps the compiler from changing it.
void store(unsigned long long& place, unsigned long long value) noexcept
{
    tolvane::atomicRef(place).store(value, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

} // namespace

linering::linering(unsigned char* memory, std::size_t size) noexcept
    : m_header(*reinterpret_cast<header*>(memory)),
      m_bytes(memory + headerSize),
      m_size(size - headerSize)
{
    if (!hasLines()) {
        begin();
    }
    m_first = m_header.first;
    m_end = m_header.end;
}

bool linering::hasLines() const noexcept
{
    return std::memcmp(m_header.mark, mark.data(), mark.size()) == 0 && m_header.size == m_size &&
           m_header.first <= m_header.end && m_header.end - m_header.first <= m_size &&
           (m_header.first == m_header.end || m_bytes[(m_header.end - 1) % m_size] == 0);
}

/// The mark comes last: without it there are no lines.
void linering::begin() noexcept
{
    std::memset(m_header.mark, 0, sizeof m_header.mark);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    m_header.size = m_size;
    m_header.first = 0;
    m_header.end = 0;
    m_header.unused = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    std::memcpy(m_header.mark, mark.data(), mark.size());
}

/// What is written over is no line any more before the first byte of it changes; what is written is
/// a line when its last byte is there.
bool linering::write(std::string_view text) noexcept
{
    const std::size_t size = text.size() + lineEnd.size();
    if (size > m_size) {
        return false;
    }
    while (m_end - m_first > m_size - size) {
        dropOldest();
    }
    put(m_end, text);
    put(m_end + text.size(), lineEnd);
    m_end += size;
    store(m_header.end, m_end);
    return true;
}

/// Finds its end in what lies up to the end of the memory, or else from its begin on. Where
/// somebody else has written there may be none; all lines go then.
void linering::dropOldest() noexcept
{
    const auto at = static_cast<std::size_t>(m_first % m_size);
    const auto length = static_cast<std::size_t>(m_end - m_first);
    const std::size_t straight = std::min(length, m_size - at);
    const void* const found = std::memchr(m_bytes + at, 0, straight);
    const void* const wrapped = found ? nullptr : std::memchr(m_bytes, 0, length - straight);
    std::size_t dropped = length;
    if (found) {
        dropped =
            static_cast<std::size_t>(static_cast<const unsigned char*>(found) - m_bytes) + 1 - at;
    } else if (wrapped) {
        dropped = static_cast<std::size_t>(static_cast<const unsigned char*>(wrapped) - m_bytes) +
                  1 + straight;
    }
    m_first += dropped;
    store(m_header.first, m_first);
}

void linering::put(unsigned long long place, std::string_view bytes) noexcept
{
    const auto at = static_cast<std::size_t>(place % m_size);
    const std::size_t straight = std::min(bytes.size(), m_size - at);
    std::memcpy(m_bytes + at, bytes.data(), straight);
    std::memcpy(m_bytes, bytes.data() + straight, bytes.size() - straight);
}
