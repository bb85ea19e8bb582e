#pragma once

#include "trace/packedline.h"
#include "trace/threadname.h"

#include <cstddef>
#include <memory>

struct stagedline;

/// Where a line comes from, and when, beside what was captured.
struct lineorigin
{
    unsigned long long threadId = 0; ///< the operating system's number of the thread
    threadname* name = nullptr;      ///< the thread's; may be null
    long long utc = 0;               ///< nanoseconds since 1970 UTC
};

/// A line that waits for the sinks; the last of its parts has the payload behind it.
struct queuedline : lineorigin, packedline
{
    /// Gives back what the line has a hold on.
    void release() const noexcept
    {
        freeBlock();
        if (name) {
            name->release();
        }
    }
};
static_assert(sizeof(queuedline) == sizeof(lineorigin) + sizeof(packedline)); // the payload follows

/// Lines one behind the other in one piece of memory, with the blocks that they refer to.
class packedlines
{
public:
    packedlines() = default;
    packedlines(packedlines&& other) noexcept;
    packedlines& operator=(packedlines&& other) noexcept;
    ~packedlines() { clear(); }

    class iterator
    {
    public:
        explicit iterator(const unsigned char* at) noexcept : m_at(at) {}

        const queuedline& operator*() const noexcept
        {
            return *reinterpret_cast<const queuedline*>(m_at);
        }

        iterator& operator++() noexcept
        {
            m_at += sizeOf((**this).size);
            return *this;
        }

        bool operator!=(const iterator& other) const noexcept { return m_at != other.m_at; }

    private:
        const unsigned char* m_at;
    };

    iterator begin() const noexcept { return iterator(m_memory.get()); }
    iterator end() const noexcept { return iterator(m_memory.get() + m_used); }

    std::size_t size() const noexcept { return m_lines; }
    std::size_t bytes() const noexcept { return m_used; }

    /// Bytes for which there is memory.
    std::size_t capacity() const noexcept { return m_capacity; }

    /// Appends a staged line, takes its block from it, and has a hold of its own on the thread's
    /// name. Throws std::bad_alloc, and nothing has changed then.
    void append(stagedline& line, const lineorigin& origin);

    /// Room for a line with a payload of so many bytes, which comes from nowhere yet. A name that
    /// it is given is held by the line, once it is added. Throws in the same way.
    queuedline& prepare(std::size_t payloadSize)
    {
        const std::size_t size = sizeOf(payloadSize);
        if (m_capacity - m_used < size) {
            grow(size);
        }
        auto& line = *reinterpret_cast<queuedline*>(m_memory.get() + m_used);
        static_cast<lineorigin&>(line) = lineorigin();
        return line;
    }

    /// Lets the line that was prepared and filled be one of the lines.
    void add(const queuedline& prepared) noexcept
    {
        m_used += sizeOf(prepared.size);
        ++m_lines;
    }

    /// Drops the refused ones of the lines that begin at a number of bytes.
    ///
    /// \param isRefused  called with function and level.
    /// \return how many were dropped.
    template <class refuses_t>
    std::size_t prune(std::size_t from, const refuses_t& isRefused)
    {
        const std::size_t before = m_lines;
        unsigned char* to = m_memory.get() + from;
        unsigned char* const end = m_memory.get() + m_used;
        for (unsigned char* next = to; next != end;) {
            queuedline& line = *reinterpret_cast<queuedline*>(next);
            const std::size_t size = sizeOf(line.size);
            if (isRefused(*line.function, line.level)) {
                line.release();
                --m_lines;
            } else {
                if (to != next) {
                    std::memmove(to, next, size);
                }
                to += size;
            }
            next += size;
        }
        m_used = static_cast<std::size_t>(to - m_memory.get());
        return before - m_lines;
    }

    /// Goes without all lines, and keeps the memory.
    void clear() noexcept;

private:
    static std::size_t sizeOf(std::size_t payloadSize) noexcept
    {
        return sizeof(queuedline) + packedline::padded(payloadSize);
    }

    void grow(std::size_t size);

    std::unique_ptr<unsigned char[]> m_memory;
    std::size_t m_used = 0; ///< bytes
    std::size_t m_capacity = 0;
    std::size_t m_lines = 0;
};
