#pragma once

#include "support/mutex.h"
#include "tests/helpers/gate.h"

#include <future>
#include <thread>

/// Holds a lock in a thread of its own, until it is told to release it or dies.
class heldelsewhere
{
public:
    explicit heldelsewhere(tolvane::Mutex& mutex)
        : m_thread([this, &mutex] {
              const tolvane::Auto_Mutex lock(mutex);
              m_held.open();
              m_release.wait();
          })
    {
        m_held.wait();
    }

    ~heldelsewhere() { release(); }

    heldelsewhere(const heldelsewhere&) = delete;
    heldelsewhere& operator=(const heldelsewhere&) = delete;

    /// Returns when the lock is free.
    void release()
    {
        if (m_thread.joinable()) {
            m_release.open();
            m_thread.join();
        }
    }

private:
    gate m_held;
    gate m_release;
    std::thread m_thread;
};

/// Whether another thread could take the mutex now.
inline bool isFree(tolvane::Mutex& mutex)
{
    return std::async(std::launch::async,
                      [&mutex] { return tolvane::Auto_TimedMutex(mutex, 0).owns(); })
        .get();
}
