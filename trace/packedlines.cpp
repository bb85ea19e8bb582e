#include "trace/packedlines.h"

#include "support/coldpath.h"
#include "trace/stage.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr std::size_t firstRoom = 16384; ///< bytes

} // namespace

packedlines::packedlines(packedlines&& other) noexcept
    : m_memory(std::move(other.m_memory)),
      m_used(std::exchange(other.m_used, 0)),
      m_capacity(std::exchange(other.m_capacity, 0)),
      m_lines(std::exchange(other.m_lines, 0))
{}

packedlines& packedlines::operator=(packedlines&& other) noexcept
{
    packedlines replaced(std::move(other));
    m_memory.swap(replaced.m_memory);
    std::swap(m_used, replaced.m_used);
    std::swap(m_capacity, replaced.m_capacity);
    std::swap(m_lines, replaced.m_lines);
    return *this;
}

void packedlines::append(stagedline& line, const lineorigin& origin)
{
    queuedline& appended = prepare(line.size);
    static_cast<lineorigin&>(appended) = origin;
    if (origin.name) {
        origin.name->hold();
    }
    static_cast<packedline&>(appended) = line;
    std::memcpy(appended.payload(), line.payload(), line.size);
    if (line.hasBlock()) {
        line.form = packedline::noText; // the block is the appended one's
    }
    add(appended);
}

void packedlines::clear() noexcept
{
    for (const queuedline& line : *this) {
        line.release();
    }
    m_used = 0;
    m_lines = 0;
}

/// Where there is no memory for many lines there may be for one.
TOLVANE_COLD void packedlines::grow(std::size_t size)
{
    const std::size_t least = m_used + size;
    std::size_t capacity = std::max({firstRoom, 2 * m_capacity, least});
    std::unique_ptr<unsigned char[]> grown(new (std::nothrow) unsigned char[capacity]);
    if (!grown) {
        capacity = least;
        grown.reset(new unsigned char[capacity]);
    }
    if (m_used != 0) {
        std::memcpy(grown.get(), m_memory.get(), m_used);
    }
    m_memory = std::move(grown);
    m_capacity = capacity;
}
