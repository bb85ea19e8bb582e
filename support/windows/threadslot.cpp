#include "support/threadslot.h"

#include "support/nativethread.h"
#include "support/threadends.h"
#include "support/windows/platform.h"

#include <cstdint>

namespace tolvane::threadslot {

namespace {

ThreadEnds ends;

/// Tells one thread from the others.
void* currentThread() noexcept
{
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(GetCurrentThreadId()));
}

/// The system calls this when a thread ends, before the libraries hear of it. It also does for a
/// fiber that is deleted, on whatever thread, and for the thread that ends the process: then the
/// others may have been stopped with locks held. The system holds a lock meanwhile, which a thread
/// that starts takes under the lock of the loader: nothing here may ask the loader.
void WINAPI fiberEnded(void* thread)
{
    if (thread == currentThread() && !nativethread::othersAreStopped()) {
        ends.tell();
    }
}

/// Slots of the system's: the compiler's thread_local is emulated here, and several times slower.
/// What fibers have of their own is slower, too, and only there for its callback. Never given
/// back.
struct Indices
{
    Indices() noexcept : end(FlsAlloc(&fiberEnded))
    {
        for (DWORD& index : values) {
            index = TlsAlloc();
        }
        nativethread::othersAreStopped(); // asks the loader, for the first time
    }

    DWORD values[slots];
    const DWORD end;
};

const Indices& indices() noexcept
{
    static const Indices allocated;
    return allocated;
}

/// Made when the library is loaded, by one thread that has the lock of the loader already.
[[maybe_unused]] const Indices& early = indices();

} // namespace

/// Reading a slot clears the thread's last error, which the traced function may be about to look
/// at.
void* get(slot_t slot) noexcept
{
    const DWORD error = GetLastError();
    void* const value = TlsGetValue(indices().values[slot]);
    SetLastError(error);
    return value;
}

/// Without a slot nothing is remembered, and get() answers null.
void set(slot_t slot, void* value) noexcept
{
    const DWORD error = GetLastError();
    TlsSetValue(indices().values[slot], value);
    if (value && ends.isWanted(slot)) {
        FlsSetValue(indices().end, currentThread());
    }
    SetLastError(error);
}

void setUnnoticed(slot_t slot, void* value) noexcept
{
    const DWORD error = GetLastError();
    TlsSetValue(indices().values[slot], value);
    SetLastError(error);
}

void whenThreadEnds(slot_t slot, ended_t ended) noexcept
{
    ends.want(slot, ended);
}

} // namespace tolvane::threadslot
