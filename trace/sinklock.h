#pragma once

#include "sinks/passprogress.h"
#include "support/autoresetevent.h"
#include "support/mutex.h"

#include <atomic>

/// The sink lock: held while lines are written, and while sinks are attached, removed or destroyed.
///
/// It is waited for only by threads that do not hold the dispatcher's instance lock, and only tried
/// under it: a sink that never returns holds up nobody but those who want to write, too.
class sinklock
{
public:
    /// Takes the lock when it is free, or already the calling thread's. A thread that only writes
    /// lets those go first who wait to attach or remove a sink.
    bool tryEnter(bool onlyWrites) noexcept;

    /// Gives it back, as often as it was taken.
    void leave() noexcept;

    /// Gives it back, however often it was taken: the calling thread, which holds it, ends within.
    void abandon() noexcept;

    /// The calling thread holds it, and has another number now, in a forked process.
    void adopt() noexcept;

    /// Waits until the lock is given back, but at most a millisecond.
    void waitForReturn() noexcept;

    /// Whether the calling thread holds it.
    bool isMine() const noexcept;

    /// What the holder is doing.
    passprogress& progress() noexcept { return m_progress; }
    const passprogress& progress() const noexcept { return m_progress; }

    tolvane::Mutex& mutex() noexcept { return m_mutex; }

    /// Announces for a block that the calling thread will take the lock for more than to write.
    class claim
    {
    public:
        explicit claim(sinklock& lock) noexcept : m_lock(lock) { ++m_lock.m_claims; }
        ~claim() { --m_lock.m_claims; }

        claim(const claim&) = delete;
        claim& operator=(const claim&) = delete;

    private:
        sinklock& m_lock;
    };

private:
    tolvane::Mutex m_mutex;
    std::atomic<unsigned int> m_owner{0}; ///< number of the thread that holds it through this class
    unsigned int m_depth = 0;             ///< how often; the owner's own
    std::atomic<unsigned int> m_claims{0};
    std::atomic<unsigned int> m_waiting{0}; ///< threads inside waitForReturn()
    tolvane::AutoResetEvent m_returned;
    passprogress m_progress;
};

/// How long a thread that wants to write waits for the holder of the sink lock, who may be in a
/// sink that is busy, or merely was not scheduled.
class patience
{
public:
    explicit patience(const passprogress& progress) noexcept;

    /// Whether to wait a little more. What ends it: a single call of a sink that is none of the
    /// library's own file sinks and lasts longer than about 2 ms; otherwise a second in which the
    /// holder does not get on.
    bool lasts() noexcept;

private:
    void beginAnew() noexcept;

    const passprogress& m_progress;
    unsigned long long m_moves = 0; ///< of the holder, when the waiting began or began anew
    unsigned long long m_start = 0; ///< milliseconds
    int m_looks = 0;                ///< since then
};
