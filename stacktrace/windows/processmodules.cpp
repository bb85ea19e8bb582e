#include "stacktrace/windows/processmodules.h"
#include "support/windows/platform.h"

// The names with K32 are in kernel32 itself, so that nothing more has to be linked.
#define PSAPI_VERSION 2
#include <psapi.h>

#include <algorithm>
#include <cstddef>

namespace faults {

void forEachExport(const char* name, void (*use)(void* address, void* context), void* context)
{
    const size_t mostModules = 1024; // 8 KiB of stack; large applications load about 300
    HMODULE modules[mostModules];
    DWORD bytes = 0;
    if (!EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &bytes)) {
        return; // nothing is known about the process: the hook is left out
    }
    const size_t count = std::min(mostModules, bytes / sizeof modules[0]);
    for (size_t i = 0; i < count; ++i) {
        // Another thread may unload a module meanwhile: the reference keeps it while it is looked
        // at.
        HMODULE held = nullptr;
        if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                               reinterpret_cast<LPCWSTR>(modules[i]), &held)) {
            if (const FARPROC address = GetProcAddress(held, name)) {
                use(reinterpret_cast<void*>(address), context);
            }
            FreeLibrary(held);
        }
    }
}

} // namespace faults
