#pragma once

#include <tolvane/noncopyable.h>

#include "support/threadid.h"

#include <atomic>

namespace tolvane {

/// Something that a thread runs.
class Thread
{
public:
    /// \return the thread's exit code.
    virtual unsigned int run() = 0;

    virtual ~Thread() = default;
};

/// Starts a Thread, once, and owns it.
class ThreadControl
{
public:
    /// \param thread      owned from now on.
    /// \param autoDelete  the controller, made by new, deletes itself and the runnable when the
    ///                    thread ends; it is not to be touched after start() then.
    explicit ThreadControl(Thread* thread, bool autoDelete = false)
        : m_autoDelete(autoDelete), m_thread(thread)
    {}

    /// Does not wait: whoever owns a running thread makes it finish first.
    ~ThreadControl();

    ThreadControl(const ThreadControl&) = delete;
    ThreadControl& operator=(const ThreadControl&) = delete;

    /// Starts the thread unless it was started before. When that fails, the next call tries again.
    /// Throws std::bad_alloc. Calls are serialised by the owner.
    void start()
    {
        if (!started()) {
            startNow();
        }
    }

    /// Whether start() succeeded once.
    bool started() const noexcept { return m_id != 0; }

    /// Whether the calling thread is the one that was started.
    bool isCurrent() const noexcept { return m_id == currentThreadId(); }

    /// Whether the thread was started and has ended, in whatever way.
    bool ended() const noexcept;

    /// Gives the thread's handle back, without waiting for the thread; ended() cannot tell any
    /// more.
    void close() noexcept;

    /// The thread is not of this process, which was forked: its handle is left alone.
    void forget() noexcept { m_handle = nullptr; }

    /// errno of the last start(); 0 when it succeeded.
    int startError() const noexcept { return m_startError; }

private:
    struct Start;

    void startNow();
    static unsigned int enter(void* argument);

    bool m_autoDelete;
    Thread* m_thread;                  ///< owned
    std::atomic<unsigned int> m_id{0}; ///< 0: not started
    int m_startError = 0;
    std::atomic<void*> m_handle{nullptr};
};

} // namespace tolvane
