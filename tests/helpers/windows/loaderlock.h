#pragma once

#include "support/windows/platform.h"

/// Takes the lock under which libraries are loaded and threads begin and end, for good.
inline void lockLoader()
{
    using lock = LONG(NTAPI*)(ULONG, ULONG*, ULONG_PTR*);
    const FARPROC found = GetProcAddress(GetModuleHandleA("ntdll.dll"), "LdrLockLoaderLock");
    ULONG_PTR cookie = 0;
    reinterpret_cast<lock>(reinterpret_cast<void*>(found))(0, nullptr, &cookie);
}
