#include "support/nativethread.h"

#include "support/windows/platform.h"

#include <process.h>

#include <cerrno>
#include <memory>
#include <new>

namespace tolvane::nativethread {

namespace {

struct Start
{
    Entry entry;
    void* argument;
};

using Query = BOOLEAN(NTAPI*)();

Query findQuery() noexcept
{
    const HMODULE loader = GetModuleHandleA("ntdll.dll");
    return loader ? reinterpret_cast<Query>(
                        reinterpret_cast<void*>(GetProcAddress(loader, "RtlDllShutdownInProgress")))
                  : nullptr;
}

unsigned int __stdcall run(void* argument)
{
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
    return start.entry(start.argument);
}

} // namespace

void* start(Entry entry, void* argument, unsigned int& id, int& error) noexcept
{
    std::unique_ptr<Start> start(new (std::nothrow) Start{entry, argument});
    if (!start) {
        error = ENOMEM;
        return nullptr;
    }
    const auto handle = _beginthreadex(nullptr, 0, run, start.get(), 0, &id);
    if (handle == 0) {
        error = errno;
        return nullptr;
    }
    start.release(); // the thread's now
    return reinterpret_cast<void*>(handle);
}

bool ended(void* handle) noexcept
{
    return WaitForSingleObject(handle, 0) != WAIT_TIMEOUT;
}

void close(void* handle) noexcept
{
    CloseHandle(handle);
}

/// The loader ends the other threads before it runs the libraries' destructors, and alone can tell.
/// It is asked where to ask once, since that takes its lock.
bool othersAreStopped() noexcept
{
    static const Query query = findQuery();
    return query && query();
}

} // namespace tolvane::nativethread
