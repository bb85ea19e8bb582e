// A traced application whose main thread ends, and which gets a signal then: one scenario per run,
// named by the first argument. The second argument is the signal's number.

#include <tolvane/tolvane.h>

#include "tests/helpers/hardfault.h"
#include "tests/helpers/posix/brokenheap.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

int number = 0;

/// A main thread that has ended stays listed, as a zombie. Asks for no memory.
bool hasMainThread(pid_t process)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/task/%d/stat", process, process);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    char text[512] = "";
    const ssize_t size = read(file, text, sizeof text - 1);
    close(file);
    text[size > 0 ? size : 0] = '\0';
    const char* const state = std::strrchr(text, ')');
    return state && state[2] != 'Z';
}

/// Another process sends the signal when the main thread has ended. To be called while the
/// process's other threads are idle, since it may find the locks of a sanitizer taken by them.
void orderSignal()
{
    const pid_t target = getpid();
    if (fork() == 0) {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        while (hasMainThread(target)) {
            usleep(1000);
        }
        kill(target, number);
        _exit(0);
    }
}

void attach()
{
    static std::ostringstream taken;
    trace::output(ostreamtracestream<char>(taken)).setLevel(tl_error);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_error) << "starts the writer";
}

void faultInMain()
{
    attach();
    orderSignal();
    hardfault::raise();
}

void leaveMain()
{
    attach();
    orderSignal();
    pthread_exit(nullptr);
}

/// Another thread, which lets no signal through but that of its own fault.
void startDeafThread(void (*run)())
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigdelset(&all, SIGSEGV);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread(run).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void sleepForGood()
{
    for (;;) {
        pause();
    }
}

/// No line was ever traced: there is no writer.
void faultWithoutWriter()
{
    orderSignal();
    startDeafThread(sleepForGood);
    hardfault::raise();
}

void faultUnderAllocatorsLock()
{
    orderSignal();
    startDeafThread(sleepForGood);
    hardfault::faultUnderAllocatorsLock();
}

void workOnAfterMain()
{
    while (hasMainThread(getpid())) {
        usleep(1000);
    }
    std::printf("worked on\n");
    std::fflush(stdout);
}

/// The process ends with its last thread.
void faultBesideWorker()
{
    startDeafThread(workOnAfterMain);
    hardfault::raise();
}

/// Main's end is no fault, the other thread's is: the last thread ends the process in order.
void leaveBesideFault()
{
    std::atexit([] {
        std::printf("exit\n");
        std::fflush(stdout);
    });
    startDeafThread([] {
        while (hasMainThread(getpid())) {
            usleep(1000);
        }
        startDeafThread([] { usleep(10000); });
        hardfault::raise();
    });
    pthread_exit(nullptr);
}

void faultAlone()
{
    hardfault::raise();
}

/// The writer comes when main has gone, and then the thread goes that started it.
void leaveBeforeWriter()
{
    orderSignal();
    std::thread([] {
        while (hasMainThread(getpid())) {
            usleep(1000);
        }
        attach();
    }).detach();
    hardfault::raise();
}

/// The application blocks the signal everywhere, and fetches it.
void fetch()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals] {
        int fetched = 0;
        sigwait(&signals, &fetched);
        std::printf("fetched %d\n", fetched);
        std::fflush(stdout);
        std::_Exit(0);
    }).detach();
    faultInMain();
}

void handle()
{
    signal(number, [](int) {
        const char text[] = "handled\n";
        static_cast<void>(!write(STDOUT_FILENO, text, sizeof text - 1));
        _exit(0);
    });
    faultInMain();
}

const std::map<std::string, void (*)()> scenarios = {
    {"faultInMain", faultInMain},
    {"leaveMain", leaveMain},
    {"leaveBeforeWriter", leaveBeforeWriter},
    {"faultWithoutWriter", faultWithoutWriter},
    {"faultUnderAllocatorsLock", faultUnderAllocatorsLock},
    {"faultBesideWorker", faultBesideWorker},
    {"leaveBesideFault", leaveBesideFault},
    {"faultAlone", faultAlone},
    {"fetch", fetch},
    {"handle", handle},
};

} // namespace

int main(int, char** arguments)
{
    number = std::atoi(arguments[2]);
    scenarios.at(arguments[1])();
    return 1;
}
