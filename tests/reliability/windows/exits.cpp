#include "tests/reliability/exits.h"

#include "tests/helpers/windows/loaderlock.h"

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

/// Windows waits for the loader and then for its heap before it ends the other threads; Wine waits
/// for the loader alone.
void keepHeapWhole()
{
    lockLoader();
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    for (const HANDLE heap : heaps) {
        HeapLock(heap);
    }
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
