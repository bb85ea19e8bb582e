#pragma once

#include <tolvane/trace.h>

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
    void note(trace::lossreason reason, const hashedfunction& function, tracelevel_t level) noexcept
    {
        for (place& free : m_places) {
            int expected = isFree;
            if (free.state.compare_exchange_strong(expected, isTaken, std::memory_order_acquire)) {
                free.reason = reason;
                free.function = &function;
                free.level = level;
                free.state.store(isNoted, std::memory_order_release);
                return;
            }
        }
        m_others.fetch_add(1, std::memory_order_relaxed);
    }

    /// Hands every note over, once.
    /// \param count  called with reason, function and level.
    /// \return how many more were lost than there was room to note.
    template <class count_t>
    unsigned long long take(const count_t& count) noexcept
    {
        for (place& noted : m_places) {
            if (noted.state.load(std::memory_order_acquire) == isNoted) {
                count(noted.reason, *noted.function, noted.level);
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
        trace::lossreason reason = trace::noMemory;
        const hashedfunction* function = nullptr;
        tracelevel_t level = tl_always;
    };

    /// More losses between two drains, 10 ms apart, are counted without a name.
    static constexpr int places = 64;

    place m_places[places];
    std::atomic<unsigned long long> m_others{0};
};
