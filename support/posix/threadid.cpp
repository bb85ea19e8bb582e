#include "support/threadid.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace tolvane {

unsigned int currentThreadId() noexcept
{
    return static_cast<unsigned int>(syscall(SYS_gettid));
}

} // namespace tolvane
