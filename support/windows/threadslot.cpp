#include "support/threadslot.h"

#include "support/windows/platform.h"

namespace tolvane::threadslot {

namespace {

/// A slot of the system's: the compiler's thread_local is emulated here, and several times slower.
/// Never given back.
DWORD slot() noexcept
{
    static const DWORD allocated = TlsAlloc();
    return allocated;
}

} // namespace

/// Reading a slot clears the thread's last error, which the traced function may be about to look
/// at.
void* get() noexcept
{
    const DWORD error = GetLastError();
    void* const value = TlsGetValue(slot());
    SetLastError(error);
    return value;
}

/// Without a slot nothing is remembered, and get() answers null.
void set(void* value) noexcept
{
    TlsSetValue(slot(), value);
}

} // namespace tolvane::threadslot
