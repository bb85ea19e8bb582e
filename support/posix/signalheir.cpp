#include "support/signalheir.h"

#include "support/threadid.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace tolvane {

namespace {

// Numbers of the process in which that happened: it did not happen in one that was forked.
std::atomic<pid_t> mainEndedIn{0};
std::atomic<pid_t> appointedIn{0};

[[noreturn]] void* takeSignals(void*)
{
    for (;;) {
        ::pause();
    }
}

bool isMainOrHeirOfMain(pid_t process) noexcept
{
    if (static_cast<pid_t>(currentThreadId()) == process) {
        mainEndedIn = process;
    }
    return mainEndedIn == process;
}

/// It has the signal mask of the calling thread.
bool start() noexcept
{
    constexpr std::size_t stackSize = 256UL * 1024; // for handlers of the application's
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool isStarted = pthread_create(&thread, &attributes, takeSignals, nullptr) == 0;
    pthread_attr_destroy(&attributes);
    return isStarted;
}

} // namespace

void appointSignalHeir() noexcept
{
    const pid_t process = ::getpid();
    if (isMainOrHeirOfMain(process) && appointedIn.exchange(process) != process && !start()) {
        takeSignals(nullptr);
    }
}

void noteEndWithoutHeir() noexcept
{
    static_cast<void>(isMainOrHeirOfMain(::getpid()));
}

} // namespace tolvane
