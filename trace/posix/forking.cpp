#include "trace/forking.h"

#include "sinks/posix/mappedfiles.h"
#include "stacktrace/threadstacks.h"
#include "support/clock.h"
#include "support/filesystem.h"
#include "support/forkcount.h"
#include "support/posix/zonelock.h"
#include "support/threadid.h"
#include "trace/classiclocale.h"
#include "trace/globallocale.h"
#include "trace/traceimpl.h"

#include <pthread.h>
#include <signal.h>

#include <initializer_list>
#include <new>

// The one thread of a forked process is a copy of the thread that forked, and finds all locks as
// they were. So that thread takes them before, and both copies give them back. Nothing is called
// for vfork and posix_spawn, whose child does nothing but start a program.

namespace {

/// What the thread that forks has taken. It is the same one in parent and child.
struct forklocks
{
    bool making = false;
    traceimpl::forklocks dispatcher;
};

__attribute__((tls_model("initial-exec"))) thread_local forklocks held;

/// Ticks of 100 nanoseconds: a second. Whoever makes the dispatcher may have to wait for what the
/// application's own handlers have locked.
constexpr unsigned long long longestMaking = 10000000;

/// The same thread's.
thread_local sigset_t signalsBefore;

/// A handler that traces would find the locks taken, in the child by a thread of another number.
void blockSignals() noexcept
{
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_SETMASK, &signals, &signalsBefore);
}

void unblockSignals() noexcept
{
    pthread_sigmask(SIG_SETMASK, &signalsBefore, nullptr);
}

void beforeFork() noexcept
{
    blockSignals();
    held = {};
    held.making = traceimpl::makingLock().timedLock(longestMaking);
    if (traceimpl* const dispatcher = traceimpl::known()) {
        held.dispatcher = dispatcher->beforeFork();
    }
    threadstacks::beforeFork();
    tolvane::mappedFilesLock().lock();
    tolvane::zoneLock().lock();
    localeturn::lock().lock();
}

void afterForkInParent() noexcept
{
    localeturn::lock().unlock();
    tolvane::zoneLock().unlock();
    tolvane::mappedFilesLock().unlock();
    threadstacks::afterForkInParent();
    if (traceimpl* const dispatcher = traceimpl::known()) {
        dispatcher->afterForkInParent(held.dispatcher);
    }
    if (held.making) {
        traceimpl::makingLock().unlock();
    }
    unblockSignals();
}

void freeMakingLock() noexcept
{
    if (held.making) {
        traceimpl::makingLock().adopt();
        traceimpl::makingLock().unlock();
    } else {
        new (&traceimpl::makingLock()) tolvane::Mutex::Impl; // who had it is gone
    }
}

void afterForkInChild() noexcept
{
    ++tolvane::forkCount;
    localeturn::lock().adopt();
    localeturn::lock().unlock();
    tolvane::ownZoneLock();
    tolvane::leaveMappedFiles();
    threadstacks::afterForkInChild();
    if (traceimpl* const dispatcher = traceimpl::known()) {
        dispatcher->afterForkInChild(held.dispatcher);
    }
    freeMakingLock();
    unblockSignals();
}

/// Objects that are made on first use: a thread that makes one while another forks would leave it
/// half made in the child.
void makeWhatIsMadeOnce() noexcept
{
    tolvane::currentThreadId(); // follows forks itself, and comes first in the child
    tolvane::Clock::platform();
    tolvane::FileSystem::platform();
    tolvane::mappedFilesLock();
    tolvane::zoneLock();
    localeturn::lock();
    traceimpl::makingLock();
    classicLocale();
}

/// From when the library is loaded on: the first line may be amid its way while another thread
/// forks.
[[maybe_unused]] const bool isFollowing = (followForks(), true);

} // namespace

void followForks() noexcept
{
    makeWhatIsMadeOnce();
    // without memory for it, forked processes are on their own
    static const int registered = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    static_cast<void>(registered);
}
