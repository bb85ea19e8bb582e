#include "bench/residentsize.h"

#include <windows.h>

#include <psapi.h>

long long bench::residentSize()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof(counters);
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))
               ? static_cast<long long>(counters.WorkingSetSize)
               : 0;
}
