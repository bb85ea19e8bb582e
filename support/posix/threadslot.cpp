#include "support/threadslot.h"

namespace tolvane::threadslot {

namespace {

/// At a fixed place in the thread's block, so that reading it is one instruction and not a call.
__attribute__((tls_model("initial-exec"))) thread_local void* slot = nullptr;

} // namespace

void* get() noexcept
{
    return slot;
}

void set(void* value) noexcept
{
    slot = value;
}

} // namespace tolvane::threadslot
