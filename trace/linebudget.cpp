#include "trace/linebudget.h"

#include <algorithm>

namespace {

/// Lines that a thread takes at once: so seldom does it touch what all threads share.
constexpr int longestBlock = 32;

/// Towards the end, blocks become smaller: what threads have taken and not used must be asked back.
constexpr int sharesOfRest = 16;

} // namespace

bool linebudget::take(allowance& mine) noexcept
{
    mine.left = 0;
    const unsigned int epoch = m_epoch.load(std::memory_order_acquire);
    const unsigned int generation = m_generation.load(std::memory_order_relaxed);
    if (generation != 0 && generation != levelgeneration::current()) {
        return false;
    }
    int rest = m_left.load(std::memory_order_relaxed);
    int block = 0;
    do {
        if (rest <= 0) {
            return false;
        }
        block = std::clamp(rest / sharesOfRest, 1, longestBlock);
    } while (!m_left.compare_exchange_weak(rest, rest - block, std::memory_order_acq_rel,
                                           std::memory_order_relaxed));
    mine.left = static_cast<unsigned int>(block);
    mine.epoch = epoch;
    mine.generation = m_generation.load(std::memory_order_acquire); // of what the block is from
    mine.isSelective = mine.generation != 0;
    // what was taken from another settlement than the one that it is told to be of is void
    return epoch == m_epoch.load(std::memory_order_acquire);
}

void linebudget::close() noexcept
{
    m_left.store(0, std::memory_order_relaxed);
    const unsigned int epoch = m_epoch.load(std::memory_order_relaxed) + 1;
    m_epoch.store(epoch != 0 ? epoch : 1, std::memory_order_release);
}

void linebudget::settle(std::size_t lines, unsigned int generation) noexcept
{
    m_generation.store(generation, std::memory_order_release);
    m_left.store(static_cast<int>(lines), std::memory_order_release);
}
