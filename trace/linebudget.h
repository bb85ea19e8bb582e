#pragma once

#include "sinks/levelgeneration.h"

#include <atomic>
#include <cstddef>

/// Keeps the number of lines that wait, staged or queued, in bounds, without a count that all
/// threads share.
///
/// So many lines may come before something must be done about them; the dispatcher settles how
/// many. Each thread takes its share in small blocks, and a line costs it a look at its own
/// allowance. When nothing is left to be taken, the next line's thread asks the dispatcher, who
/// counts exactly and settles anew; that makes all allowances void. Lines of which one came after
/// the other are counted exactly thereby. A thread that has looked at its allowance when that
/// becomes void stages one line more.
class linebudget
{
public:
    /// What one thread has taken.
    struct allowance
    {
        unsigned int left = 0;
        unsigned int epoch = 0;      ///< of the settlement that it was taken from
        unsigned int generation = 0; ///< of levels; see isSelective
        bool isSelective = false;    ///< only lines that some sink takes may be staged
    };

    /// Whether the thread may stage a line, which it then takes from its allowance. When it is to
    /// select, levels must also be those under which that was settled.
    bool holds(const allowance& mine) const noexcept
    {
        return mine.left != 0 && mine.epoch == m_epoch.load(std::memory_order_acquire) &&
               (!mine.isSelective || mine.generation == levelgeneration::current());
    }

    /// Takes a new allowance, for at least one line.
    /// \return false when nothing is left; mine is void then.
    bool take(allowance& mine) noexcept;

    /// Makes all allowances void. Nothing can be taken until settle().
    void close() noexcept;

    /// So many lines may come now. Calls are serialised by the caller, and follow on close().
    /// \param generation  0: lines are staged whatever sinks take. Otherwise a thread must select,
    ///                    and come back when levels are of another generation.
    void settle(std::size_t lines, unsigned int generation) noexcept;

private:
    static constexpr std::size_t cacheLine = 64;

    alignas(cacheLine) std::atomic<unsigned int> m_epoch{1}; ///< read by every line, written seldom
    std::atomic<unsigned int> m_generation{0};               ///< 0: not selective
    alignas(cacheLine) std::atomic<int> m_left{0};           ///< below 1: nothing can be taken
};
