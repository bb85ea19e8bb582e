#include "support/callerserror.h"

#include "support/windows/platform.h"

#include <cerrno>

namespace tolvane {

CallersError::CallersError() noexcept : m_errno(errno), m_lastError(GetLastError()) {}

CallersError::~CallersError()
{
    errno = m_errno;
    SetLastError(m_lastError);
}

} // namespace tolvane
