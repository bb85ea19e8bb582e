#pragma once

namespace tolvane {

/// Keeps the calling thread's error codes for a block: errno, and what the system itself calls the
/// thread's last error where it has such a thing. The traced function may be about to look at
/// them.
class CallersError
{
public:
    CallersError() noexcept;
    ~CallersError();

    CallersError(const CallersError&) = delete;
    CallersError& operator=(const CallersError&) = delete;

private:
    const int m_errno;
    const unsigned int m_lastError = 0; ///< where there is one
};

} // namespace tolvane
