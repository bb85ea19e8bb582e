#include "support/stamps.h"

#include <atomic>

namespace tolvane::stamps {

namespace {

/// Until the library's statics are made, and where cycles are not to be trusted, the counter
/// serves: it stays below every number of cycles that is read later.
std::atomic<bool> useCycles{systemTrustsCycles()};

std::atomic<unsigned long long> sharedCounter{0};

} // namespace

unsigned long long now() noexcept
{
    return useCycles.load(std::memory_order_relaxed) ? cycles() : ++sharedCounter;
}

unsigned long long nowBeforeReading() noexcept
{
    const unsigned long long stamp = now();
    fenceReads();
    return stamp;
}

bool areCycles() noexcept
{
    return useCycles.load(std::memory_order_relaxed);
}

void useSharedCounter(bool shared) noexcept
{
    if (shared && useCycles) {
        sharedCounter = cycles();
    }
    useCycles = !shared && systemTrustsCycles();
}

} // namespace tolvane::stamps
