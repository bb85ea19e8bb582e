#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace fuzz {

/// Makes choices of the bytes of an input. When they are used up every choice is the first one, so
/// that every input makes a whole run, and a shorter one a simpler run.
class choices
{
public:
    choices(const unsigned char* bytes, std::size_t size) : m_next(bytes), m_end(bytes + size) {}

    bool empty() const { return m_next == m_end; }

    unsigned char byte() { return empty() ? static_cast<unsigned char>(0) : *m_next++; }

    /// A number from 0 on; up to 256 of them take one byte.
    std::size_t below(std::size_t count)
    {
        constexpr std::size_t ofOneByte = 256;
        const std::size_t first = byte();
        return (count <= ofOneByte ? first : first + ofOneByte * byte()) % count;
    }

    bool truth() { return below(2) != 0; }

    /// Any value, of as many bytes as the input says: short ones make small numbers.
    unsigned long long number()
    {
        unsigned long long value = 0;
        for (std::size_t bytes = below(sizeof value + 1); bytes != 0; --bytes) {
            value = value << 8 | byte();
        }
        return value;
    }

    template <class choice_t, std::size_t count>
    const choice_t& of(const choice_t (&all)[count])
    {
        return all[below(count)];
    }

    /// The next bytes as they are, at most so many.
    std::string bytes(std::size_t longest)
    {
        const std::size_t wanted = below(longest + 1);
        const std::size_t count = std::min(wanted, static_cast<std::size_t>(m_end - m_next));
        const std::string taken(m_next, m_next + count);
        m_next += count;
        return taken;
    }

    /// All that is left.
    std::string rest()
    {
        const std::string taken(m_next, m_end);
        m_next = m_end;
        return taken;
    }

private:
    const unsigned char* m_next;
    const unsigned char* const m_end;
};

} // namespace fuzz
