#include "support/signalheir.h"

#include "support/threadid.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace tolvane {

namespace {

constexpr std::size_t stackSize = 256UL * 1024; // for handlers of the application's

// Numbers of the process in which that happened: it did not happen in one that was forked.
std::atomic<pid_t> mainEndedIn{0};
std::atomic<pid_t> appointedIn{0};

SignalBequest inherited; ///< written once in a process, by whoever appoints the heir
bool isOfMain = false;   ///< the heir is the main thread's own; the same

bool isMain() noexcept
{
    return static_cast<pid_t>(currentThreadId()) == ::getpid();
}

/// A main thread that has ended is counted, too, as long as there are others. Asks for no memory.
/// \return 0 when the system does not tell.
int countThreads() noexcept
{
    constexpr int fieldsBefore = 18; // behind the program's name, which may hold anything
    const int file = ::open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return 0;
    }
    char text[1024];
    const ssize_t size = ::read(file, text, sizeof text - 1);
    ::close(file);
    text[size > 0 ? size : 0] = '\0';
    const char* place = std::strrchr(text, ')');
    for (int field = 0; place && field < fieldsBefore; ++field) {
        place = std::strchr(place + 1, ' ');
    }
    return place ? std::atoi(place) : 0;
}

/// Whether the system tells of no thread but the calling one, and the main thread's remains.
bool isAlone(int threads) noexcept
{
    return threads == (isMain() ? 1 : 2);
}

/// Nobody tells of the end of the other threads.
void takeSignals() noexcept
{
    constexpr timespec between = {0, 100L * 1000 * 1000};
    while (inherited.isForGood) {
        ::pause();
    }
    while (!isAlone(countThreads())) {
        ::nanosleep(&between, nullptr);
    }
}

int takeSignalsBare(void*)
{
    takeSignals();
    return static_cast<int>(inherited.exitCode); // of a process, it is the last thread's
}

/// When the main thread left in order, the last thread ends the process in order.
void* takeSignalsInThread(void*)
{
    takeSignals();
    if (isOfMain) {
        ::syscall(SYS_exit, inherited.exitCode);
    }
    return nullptr;
}

bool isMainOrHeirOfMain(pid_t process) noexcept
{
    if (isMain()) {
        mainEndedIn = process;
    }
    return mainEndedIn == process;
}

/// It has the signal mask of the calling thread.
bool start() noexcept
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool isStarted = pthread_create(&thread, &attributes, takeSignalsInThread, nullptr) == 0;
    pthread_attr_destroy(&attributes);
    return isStarted;
}

/// The same without memory of the allocator's: the new thread goes on with the thread-local objects
/// of the main thread, which stay when that has ended. Those of others don't.
bool startBare() noexcept
{
    constexpr int asThread =
        CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM;
    if (!isMain()) {
        return false;
    }
    void* const stack = ::mmap(nullptr, stackSize, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    return stack != MAP_FAILED &&
           ::clone(takeSignalsBare, static_cast<char*>(stack) + stackSize, asThread, nullptr) > 0;
}

} // namespace

void appointSignalHeir(const SignalBequest& bequest) noexcept
{
    const pid_t process = ::getpid();
    if (!isMainOrHeirOfMain(process)) {
        return;
    }
    const int threads = countThreads();
    if (!bequest.isForGood && (threads == 0 || isAlone(threads))) {
        return;
    }
    if (appointedIn.exchange(process) == process) {
        return;
    }
    inherited = bequest;
    isOfMain = isMain();
    const bool isStarted = bequest.isAmidAllocator ? startBare() : start();
    if (!isStarted) {
        takeSignals();
    }
}

void noteEndWithoutHeir() noexcept
{
    static_cast<void>(isMainOrHeirOfMain(::getpid()));
}

} // namespace tolvane
