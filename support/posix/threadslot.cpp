#include "support/threadslot.h"

#include "support/threadends.h"

#include <pthread.h>

#include <cerrno>

namespace tolvane::threadslot {

namespace {

/// At a fixed place in the thread's block, so that reading one is one instruction and not a call.
__attribute__((tls_model("initial-exec"))) thread_local void* values[slots] = {};

ThreadEnds ends;

/// Has a destructor that the system calls on each thread that ends with a value. It comes after
/// those of thread_local objects. Never given back.
struct Key
{
    Key() noexcept : isMade(pthread_key_create(&key, [](void*) { ends.tell(); }) == 0) {}

    /// Again on every call: the system takes the value away before it calls the destructor.
    void arm() const noexcept
    {
        if (isMade) {
            const int error = errno;
            pthread_setspecific(key, values); // may need memory; without it no end is noticed
            errno = error;
        }
    }

    pthread_key_t key = 0;
    const bool isMade; ///< false when the process has used up its keys
};

const Key& key() noexcept
{
    static const Key made;
    return made;
}

} // namespace

void* get(slot_t slot) noexcept
{
    return values[slot];
}

void set(slot_t slot, void* value) noexcept
{
    values[slot] = value;
    if (value && ends.isWanted(slot)) {
        key().arm();
    }
}

void setUnnoticed(slot_t slot, void* value) noexcept
{
    values[slot] = value;
}

void whenThreadEnds(slot_t slot, ended_t ended) noexcept
{
    key();
    ends.want(slot, ended);
}

} // namespace tolvane::threadslot
