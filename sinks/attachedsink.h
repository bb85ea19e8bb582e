#pragma once

#include <tolvane/trace.h>

#include <atomic>
#include <map>

class tracestream;

/// What became of the lines that one sink was offered.
///
/// Counted by whoever holds the sink lock or the instance lock, read by anybody: each count is
/// atomic by itself, and relaxed, since nothing is concluded from two of them together.
struct sinkcounts
{
    static constexpr int reasons = trace::ended + 1;

    std::atomic<unsigned long long> written{0};
    std::atomic<unsigned long long> refused{0}; ///< by the sink's level
    std::atomic<unsigned long long> lost[reasons]{};

    void lose(trace::lossreason reason, unsigned long long lines = 1) noexcept
    {
        lost[reason].fetch_add(lines, std::memory_order_relaxed);
    }
};

/// A sink that is attached to the dispatcher.
struct attachedsink
{
    tracestream* sink = nullptr; ///< owned by the dispatcher
    unsigned long long id = 0;   ///< under which it was attached
    sinkcounts counts;

    /// A hardware fault came from it: it is not called any more, and not destroyed. Set by the
    /// holder of the sink lock.
    std::atomic<bool> isFaulty{false};

    /// Its file is one that somebody reads from at the other end, who took too little the last
    /// time: nobody waits for that again before all that there was to write went through. Used by
    /// the holder of the sink lock.
    bool isStuck = false;

    /// Of its file, the platform's; see tolvane::errorText(). Set by the holder of the sink lock,
    /// read by anybody.
    std::atomic<int> lastError{0};

    /// Attached since the followed settings name it. Used under both of the dispatcher's locks.
    bool isFromSettings = false;
};

/// By id, which is the order of every walk.
using sinkmap_t = std::map<unsigned long long, attachedsink>;
