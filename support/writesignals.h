#pragma once

namespace tolvane {

/// Lets writing send the calling thread no signal, for a block, where the platform has such a
/// thing: by default one ends the process when a file is at its size limit, and another one when
/// nobody reads a pipe any more. What the application does about these signals stays as it is, and
/// it still gets those that come from elsewhere.
///
/// Changes no error code of the thread.
class WriteSignals
{
public:
    WriteSignals() noexcept;
    ~WriteSignals();

    WriteSignals(const WriteSignals&) = delete;
    WriteSignals& operator=(const WriteSignals&) = delete;

private:
    unsigned int m_blockedBefore = 0; ///< a bit for each signal
    unsigned int m_pendingBefore = 0;
};

} // namespace tolvane
