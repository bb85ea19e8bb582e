#include "support/threadid.h"

#include "support/coldpath.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tolvane {

namespace {

__attribute__((tls_model("initial-exec"))) thread_local unsigned int remembered = 0;

TOLVANE_COLD unsigned int ask() noexcept
{
    // the one thread of a forked process has another number than the thread that forked
    static const int registered = pthread_atfork(nullptr, nullptr, [] { remembered = 0; });
    static_cast<void>(registered);
    remembered = static_cast<unsigned int>(syscall(SYS_gettid));
    return remembered;
}

} // namespace

unsigned int currentThreadId() noexcept
{
    return remembered != 0 ? remembered : ask();
}

} // namespace tolvane
