#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Something that one thread waits for and another one opens. It stays open.
class gate
{
public:
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isOpen = true;
        m_opened.notify_all();
    }

    /// \return false when it was not opened within a time that no healthy test needs.
    bool wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_opened.wait_for(lock, std::chrono::seconds(60), [this] { return m_isOpen; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_isOpen = false;
};
