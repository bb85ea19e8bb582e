#pragma once

#include "support/mutex.h"
#include "tests/helpers/gate.h"

#include <thread>

/// Holds a lock in a thread of its own.
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

    ~heldelsewhere()
    {
        m_release.open();
        m_thread.join();
    }

    heldelsewhere(const heldelsewhere&) = delete;
    heldelsewhere& operator=(const heldelsewhere&) = delete;

private:
    gate m_held;
    gate m_release;
    std::thread m_thread;
};
