#pragma once

#include <thread>

/// A std::thread that is gone when join() returns, with all that the system does at its end. The
/// library's own join may come back when the thread's function has ended.
class wholethread
{
public:
    template <class action_t>
    explicit wholethread(const action_t& action)
        : m_thread([this, action] {
              m_self = self();
              action();
          })
    {}

    wholethread(const wholethread&) = delete;
    wholethread& operator=(const wholethread&) = delete;

    void join()
    {
        m_thread.join();
        waitForEnd(m_self);
    }

private:
    /// What to wait for the calling thread's end with; null where join() is enough.
    static void* self();
    static void waitForEnd(void* thread);

    void* m_self = nullptr;
    std::thread m_thread;
};
