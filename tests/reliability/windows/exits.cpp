#include "tests/reliability/exits.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace reliability {

namespace {

constexpr int exitProcessCode = 5;
constexpr int terminateCode = 6;

void byExitProcess()
{
    ExitProcess(exitProcessCode);
}

void byTerminateProcess()
{
    TerminateProcess(GetCurrentProcess(), terminateCode);
}

/// Gives the library back that the program is linked with, and goes on.
void freeingLibrary()
{
    const HMODULE library = GetModuleHandleA("tolvane.dll");
    for (int round = 0; round < 20; ++round) {
        FreeLibrary(library);
    }
}

} // namespace

std::vector<exitway> platformExits()
{
    return {
        {"exitprocess", "ExitProcess", exitProcessCode, false, promiseOfReturn, byExitProcess},
        {"terminateprocess", "TerminateProcess", terminateCode, false, promiseOfOthers,
         byTerminateProcess},
        {"return-after-freelibrary", "FreeLibrary of the library 20 times, and main returns", 0,
         false, promiseOfReturn, freeingLibrary},
    };
}

int abortCode()
{
    return 3;
}

/// An assertion of Wine's own fails now and then when a thread is ended amid its work with a file.
long long systemFailureCode()
{
    constexpr unsigned int exceptionWineAssertion = 0x80000101;
    return static_cast<int>(exceptionWineAssertion);
}

} // namespace reliability
