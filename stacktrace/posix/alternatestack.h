#pragma once

#include <cstddef>
#include <cstdint>

namespace faults {

/// The stack on which one thread handles signals, so that an overflow of its own stack can be
/// handled at all.
///
/// One object per thread; all operations on that thread only. What the system refuses is left as it
/// was: the thread then handles signals on its own stack.
class AlternateStack
{
public:
    AlternateStack() = default;
    /// Puts back what was set before and frees the memory.
    ~AlternateStack();
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

    /// Sets this stack for the calling thread unless a stack that is large enough is set already.
    void arm();

private:
    bool allocate();
    bool isArmed() const;

    void* m_memory = nullptr; ///< guard page and stack; null before the first arm()
    std::size_t m_size = 0;   ///< bytes of m_memory
    void* m_previous =
        nullptr; ///< the stack that was set before; a sanitizer frees its own at thread end
    std::size_t m_previousSize = 0; ///< bytes; 0: none was set
};

/// Where the calling thread's own stack ends, for a thread whose alternate stack was armed: the
/// lowest address, below which is its guard area, or that of another one. 0 for the main thread,
/// whose stack grows. Safe in signal handlers.
uint64_t stackEnd() noexcept;

/// Arms the calling thread's alternate stack; it lives as long as the thread.
void armAlternateStack();

} // namespace faults
