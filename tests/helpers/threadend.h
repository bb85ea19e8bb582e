#pragma once

/// Tells how the thread that made it ended, also when that is the main thread, which nobody joins.
class threadend
{
public:
    /// Of the calling thread.
    threadend();

    /// Waits on another thread until this one has gone.
    /// \return the code that it was ended with; 0 when it returned.
    unsigned int wait() const;

private:
    unsigned int m_thread;
};
