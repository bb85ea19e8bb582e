#pragma once

#include "support/mutex.h"

#include <future>
#include <thread>

/// Another thread that holds a mutex until it is told to release it, at the latest when the object
/// dies.
class lockholder
{
public:
    explicit lockholder(tolvane::Mutex& mutex)
        : m_thread([this, &mutex] {
              const tolvane::Auto_Mutex lock(mutex);
              m_held.set_value();
              m_released.get_future().wait();
          })
    {
        m_held.get_future().wait();
    }

    ~lockholder() { release(); }

    lockholder(const lockholder&) = delete;
    lockholder& operator=(const lockholder&) = delete;

    /// Returns when the mutex is free.
    void release()
    {
        if (m_thread.joinable()) {
            m_released.set_value();
            m_thread.join();
        }
    }

private:
    std::promise<void> m_held;
    std::promise<void> m_released;
    std::thread m_thread;
};

/// Whether another thread could take the mutex now.
inline bool isFree(tolvane::Mutex& mutex)
{
    return std::async(std::launch::async,
                      [&mutex] { return tolvane::Auto_TimedMutex(mutex, 0).owns(); })
        .get();
}
