#include "support/callerserror.h"

#include <cerrno>

namespace tolvane {

CallersError::CallersError() noexcept : m_errno(errno) {}

CallersError::~CallersError()
{
    errno = m_errno;
}

} // namespace tolvane
