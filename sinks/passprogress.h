#pragma once

#include "sinks/attachedsink.h"

#include <atomic>

/// What the holder of the sink lock is doing, for threads that wait for the lock: they tell a sink
/// that is busy from a holder that merely was not scheduled.
///
/// Written by the holder of the sink lock, read by anybody.
class passprogress
{
public:
    /// Changes whenever the holder gets on. Relaxed: it only decides how long to wait.
    unsigned long long moves() const noexcept { return m_moves.load(std::memory_order_relaxed); }

    /// Whether the holder is in a call of a sink that is none of the library's own file sinks, and
    /// that may therefore take as long as it likes.
    bool isInForeignCall() const noexcept { return m_isForeign.load(std::memory_order_relaxed); }

    /// Whether the holder is in a call of the sink with that id, which is such a one.
    bool isInCallOf(unsigned long long id) const noexcept
    {
        return isInForeignCall() && m_id.load(std::memory_order_relaxed) == id;
    }

    /// The same for the very sink; another one may be attached under its id by now.
    bool isInCallOf(const tracestream* sink) const noexcept
    {
        return isInForeignCall() && m_called.load(std::memory_order_relaxed) == sink;
    }

    /// The holder got on.
    void move() noexcept
    {
        m_moves.store(m_moves.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    /// The process is a copy that a fork has made. What the holder was at is the other one's to
    /// finish.
    void noteFork() noexcept { ++m_forks; }

    /// How often that was so. The holder's own.
    unsigned int forks() const noexcept { return m_forks; }

    /// The holder ends within a call.
    void endCall() noexcept { m_isForeign.store(false, std::memory_order_relaxed); }

    /// Marks a call of such a sink, for a block.
    class foreigncall
    {
    public:
        foreigncall(passprogress& progress, const attachedsink& called) noexcept
            : m_progress(progress),
              m_outer(progress.m_isForeign.load(std::memory_order_relaxed)),
              m_outerId(progress.m_id.load(std::memory_order_relaxed)),
              m_outerCalled(progress.m_called.load(std::memory_order_relaxed))
        {
            m_progress.move();
            m_progress.m_id.store(called.id, std::memory_order_relaxed);
            m_progress.m_called.store(called.sink, std::memory_order_relaxed);
            m_progress.m_isForeign.store(true, std::memory_order_relaxed);
        }

        ~foreigncall()
        {
            m_progress.m_isForeign.store(m_outer, std::memory_order_relaxed);
            m_progress.m_id.store(m_outerId, std::memory_order_relaxed);
            m_progress.m_called.store(m_outerCalled, std::memory_order_relaxed);
            m_progress.move();
        }

        foreigncall(const foreigncall&) = delete;
        foreigncall& operator=(const foreigncall&) = delete;

    private:
        passprogress& m_progress;
        const bool m_outer; ///< a sink's call may lead to another one's
        const unsigned long long m_outerId;
        const tracestream* const m_outerCalled;
    };

private:
    std::atomic<unsigned long long> m_moves{0};
    std::atomic<bool> m_isForeign{false};
    unsigned int m_forks = 0; ///< changed while there is no other thread

    // The sink; they count while that is true.
    std::atomic<unsigned long long> m_id{0};
    std::atomic<const tracestream*> m_called{nullptr};
};
