#include "tests/reliability/exits.h"

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <limits>

namespace reliability {

namespace {

constexpr int signalOffset = 128; // as childprocess tells them
constexpr int quickCode = 4;

void quickly()
{
    std::quick_exit(quickCode);
}

void killed()
{
    kill(getpid(), SIGKILL);
    for (;;) {
        pause();
    }
}

/// Gives the library back that the program is linked with, and goes on.
void closingLibrary()
{
    for (int round = 0; round < 10; ++round) {
        if (void* const library = dlopen("libtolvane.so.1", RTLD_NOW | RTLD_NOLOAD)) {
            dlclose(library);
            dlclose(library);
        }
    }
}

} // namespace

std::vector<exitway> platformExits()
{
    return {
        {"quick-exit", "quick_exit", quickCode, false, promiseOfOthers, quickly},
        {"kill", "kill -9", signalOffset + SIGKILL, false, promiseOfOthers, killed},
        {"return-after-dlclose", "the library is closed 20 times, and main returns", 0, true,
         promiseOfReturn, closingLibrary},
    };
}

/// Threads run on until the process has ended.
void keepHeapWhole() {}

int abortCode()
{
    return signalOffset + SIGABRT;
}

long long systemFailureCode()
{
    return std::numeric_limits<long long>::max();
}

} // namespace reliability
