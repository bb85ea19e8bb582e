#pragma once

#include "trace/packedlines.h"

#include <cstddef>
#include <utility>

/// The lines that wait for a sink, in the order in which they were made, and memory for those to
/// come.
///
/// Every member needs the instance lock.
class linequeue
{
public:
    std::size_t size() const noexcept { return m_lines.size(); }

    /// The lines, for new ones to be appended.
    packedlines& lines() noexcept { return m_lines; }

    /// Drops the lines that are refused. Those that were not, before, still are not while the
    /// generation of levels and sinks is the same.
    ///
    /// \param isRefused  called with function and level.
    /// \return how many were dropped.
    template <class refuses_t>
    std::size_t prune(unsigned int generation, const refuses_t& isRefused)
    {
        const std::size_t dropped =
            m_lines.prune(generation == m_takenGeneration ? m_taken : 0, isRefused);
        m_taken = m_lines.bytes();
        m_takenGeneration = generation;
        return dropped;
    }

    /// Takes all lines, in constant time.
    packedlines takeAll() noexcept
    {
        m_taken = 0;
        return std::exchange(m_lines, std::exchange(m_spare, {}));
    }

    /// Goes without all lines, and frees nothing yet.
    void forget() noexcept
    {
        if (m_lines.size() != 0) { // otherwise those of an earlier fork may still be kept
            std::swap(m_lines, m_forgotten);
        }
        m_taken = 0;
    }

    /// To be called before lines are appended.
    void freeForgotten() noexcept
    {
        if (m_forgotten.capacity() != 0) {
            m_forgotten = {};
        }
    }

    /// Keeps the memory of lines that were written for lines to come, in constant time, unless it
    /// is less than what is kept already, or too much.
    /// \param written  is empty; what is left in it is the caller's to destroy.
    void keep(packedlines& written) noexcept
    {
        if (written.capacity() <= longestKept && written.capacity() > m_spare.capacity()) {
            std::swap(m_spare, written);
        }
    }

private:
    friend struct traceimpltest;

    /// Bytes: as many lines of usual length as wait at most.
    static constexpr std::size_t longestKept = 524288;

    packedlines m_lines;
    packedlines m_spare; ///< memory alone
    packedlines m_forgotten;

    /// So many bytes in front are lines that are known to be taken by a sink, under this
    /// generation.
    std::size_t m_taken = 0;
    unsigned int m_takenGeneration = 0;
};
