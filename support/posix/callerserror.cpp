#include "support/callerserror.h"

#include <cerrno>

namespace tolvane {

CallersError::CallersError() noexcept : m_errno(errno), m_lastError(0) {}

CallersError::~CallersError()
{
    errno = m_errno;
}

} // namespace tolvane
