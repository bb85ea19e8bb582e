#pragma once

#include <tolvane/noncopyable.h>

#include <cstddef>

namespace tolvane {

/// Mutual exclusion: recursive, and to be left by the thread that holds it.
class CriticalSection : public noncopyable_::noncopyable
{
public:
    CriticalSection();
    ~CriticalSection() override;

    /// Blocks until taken.
    void enter() noexcept;

    /// Takes it when it is free or already this thread's. Never blocks.
    bool tryEnter() noexcept;

    /// Must be called as often as it was taken.
    void leave() noexcept;

    /// Whether the calling thread holds it.
    bool isMine() const noexcept;

    /// The calling thread held it, and has another number now: it is the one thread of a process
    /// that was forked. Nobody waits any more.
    void adopt() noexcept;

private:
    static constexpr std::size_t resourceSize =
        64; ///< room for the platform's object, checked by its source

    alignas(std::max_align_t) unsigned char m_resource[resourceSize];
};

} // namespace tolvane
