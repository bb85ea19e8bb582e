#pragma once

namespace tolvane {

/// Keeps the calling thread from being cancelled for a block, where the platform has such a thing:
/// a cancellation unwinds through code that has locks to release and swallows exceptions.
class NoCancellation
{
public:
    NoCancellation() noexcept;
    ~NoCancellation();

    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    int m_previous = 0; ///< the thread's state before
};

} // namespace tolvane
