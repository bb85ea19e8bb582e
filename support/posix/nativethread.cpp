#include "support/nativethread.h"

#include "support/nocancellation.h"
#include "support/threadid.h"

#include <pthread.h>
#include <semaphore.h>
#include <signal.h>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <new>

namespace tolvane::nativethread {

namespace {

/// Lives on the starter's stack until the thread has posted.
struct Start
{
    Entry entry;
    void* argument;
    unsigned int id;
    sem_t running;
};

struct Handle
{
    pthread_t thread;
    bool joined;
};

void* run(void* argument)
{
    auto* const start = static_cast<Start*>(argument);
    const Entry entry = start->entry;
    void* const entryArgument = start->argument;
    start->id = currentThreadId();
    sem_post(&start->running);
    entry(entryArgument);
    return nullptr;
}

/// The application's signals are for the application's threads; faults stay with the thread that
/// makes them.
sigset_t signalsOfOthers() noexcept
{
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        sigdelset(&signals, fault);
    }
    return signals;
}

} // namespace

void* start(Entry entry, void* argument, unsigned int& id, int& error) noexcept
{
    const NoCancellation
        noCancellation; // callers hold locks, and the wait below could be cancelled
    std::unique_ptr<Handle> handle(new (std::nothrow) Handle{});
    if (!handle) {
        error = ENOMEM;
        return nullptr;
    }
    Start start{entry, argument, 0, {}};
    sem_init(&start.running, 0, 0);
    const sigset_t blocked = signalsOfOthers();
    sigset_t previous;
    pthread_sigmask(SIG_SETMASK, &blocked, &previous);
    error = pthread_create(&handle->thread, nullptr, run, &start);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (error == 0) {
        while (sem_wait(&start.running) != 0) {
            // interrupted by a signal: wait on
        }
        id = start.id;
    }
    sem_destroy(&start.running);
    return error == 0 ? handle.release() : nullptr;
}

bool ended(void* handle) noexcept
{
    auto* const native = static_cast<Handle*>(handle);
    native->joined = native->joined || pthread_tryjoin_np(native->thread, nullptr) == 0;
    return native->joined;
}

void close(void* handle) noexcept
{
    const std::unique_ptr<Handle> native(static_cast<Handle*>(handle));
    if (!native->joined) {
        pthread_detach(native->thread);
    }
}

/// Threads run on until the process is gone.
bool othersAreStopped() noexcept
{
    return false;
}

} // namespace tolvane::nativethread
