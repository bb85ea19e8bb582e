#include "support/threadid.h"

#include "support/windows/platform.h"

namespace tolvane {

unsigned int currentThreadId() noexcept
{
    return GetCurrentThreadId();
}

} // namespace tolvane
