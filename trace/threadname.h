#pragma once

#include <tolvane/string.h>

#include <atomic>

/// What the application calls a thread, for as long as the thread or a line of it needs that: lines
/// are written later, by another thread, and perhaps when theirs has ended.
///
/// Never changes; any thread may use it that has a hold on it.
class threadname
{
public:
    /// With one hold on it, the caller's. Throws std::bad_alloc.
    static threadname* make(const tolvane::string& name) { return new threadname(name); }

    threadname(const threadname&) = delete;
    threadname& operator=(const threadname&) = delete;

    const tolvane::string& text() const noexcept { return m_text; }

    threadname* hold() noexcept
    {
        m_holds.fetch_add(1, std::memory_order_relaxed);
        return this;
    }

    /// The last hold that is given back deletes it.
    void release() noexcept
    {
        if (m_holds.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    /// The calling thread's, on which the thread has a hold; null without one.
    static threadname* mine() noexcept;

    /// Replaces it, with the hold that the caller has on the new one; null for none.
    static void setMine(threadname* name) noexcept;

    /// To be called before the first setMine().
    static void noticeThreadEnds() noexcept;

private:
    explicit threadname(const tolvane::string& name) : m_text(name) {}
    ~threadname() = default;

    const tolvane::string m_text;
    std::atomic<int> m_holds{1};
};
