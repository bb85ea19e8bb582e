#pragma once

#include <tolvane/tracelevel.h>

#include <atomic>

class hashedfunction;

/// Lines that were lost where no lock could be taken: their thread was interrupted within the
/// library, or had no memory. Whoever drains counts them for the sinks that would have taken them.
///
/// Any thread may note, also from a signal handler.
class lossnotes
{
public:
    /// A line of this function and level was lost.
    void note(const hashedfunction& function, tracelevel_t level) noexcept
    {
        for (place& noted : m_places) {
            int found = noted.state.load(std::memory_order_relaxed);
            if (found == isTaken || !noted.take(found)) {
                continue;
            }
            const bool isSame = found == isFree || noted.isOf(function, level);
            if (isSame) {
                noted.function = &function;
                noted.level = level;
                ++noted.lines;
            }
            noted.state.store(isNoted, std::memory_order_release);
            if (isSame) {
                return;
            }
        }
        m_others.fetch_add(1, std::memory_order_relaxed);
    }

    /// Hands every note over, once.
    /// \param count  called with function, level, and the number of lines.
    /// \return how many more were lost than there was room to note.
    template <class count_t>
    unsigned long long take(const count_t& count) noexcept
    {
        for (place& noted : m_places) {
            int found = noted.state.load(std::memory_order_relaxed);
            if (found == isNoted && noted.take(found)) {
                count(*noted.function, noted.level, noted.lines);
                noted.lines = 0;
                noted.state.store(isFree, std::memory_order_release);
            }
        }
        return m_others.exchange(0, std::memory_order_relaxed);
    }

private:
    enum state_t : int
    {
        isFree,
        isTaken, ///< for good, when the thread dies now
        isNoted,
    };

    struct place
    {
        std::atomic<int> state{isFree};
        const hashedfunction* function = nullptr;
        tracelevel_t level = tl_always;
        unsigned long long lines = 0;

        bool take(int& expected) noexcept
        {
            return state.compare_exchange_strong(expected, isTaken, std::memory_order_acquire);
        }

        bool isOf(const hashedfunction& other, tracelevel_t otherLevel) const noexcept
        {
            return function == &other && level == otherLevel;
        }
    };

    /// Lines of more functions and levels between two drains, 10 ms apart, are counted for every
    /// sink.
    static constexpr int places = 64;

    place m_places[places];
    std::atomic<unsigned long long> m_others{0};
};
