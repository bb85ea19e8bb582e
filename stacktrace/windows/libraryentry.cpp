// The library's entry point, which an object that is linked into a program does not have.

#include "support/windows/platform.h"

/// Threads come and go without the library's being told. What the system answers is not looked at:
/// it refuses a module that has thread-local data of its own.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(module);
    }
    return TRUE;
}
