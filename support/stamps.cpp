#include "support/stamps.h"

#include <atomic>

namespace tolvane::stamps {

namespace {

/// Until the library's statics are made, and where cycles are not to be trusted, the counter
/// serves: it stays below every number of cycles that is read later.
std::atomic<bool> useCycles{systemTrustsCycles()};

std::atomic<unsigned long long> sharedCounter{0};

/// What the counter of cycles fell behind when the machine slept.
std::atomic<unsigned long long> behind{0};

} // namespace

unsigned long long now() noexcept
{
    return useCycles.load(std::memory_order_relaxed)
               ? cycles() + behind.load(std::memory_order_relaxed)
               : ++sharedCounter;
}

void catchUp(unsigned long long stamp) noexcept
{
    const unsigned long long reached = now();
    if (reached < stamp) {
        behind += stamp - reached;
    }
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

void fallBehind(unsigned long long cycles) noexcept
{
    behind -= cycles;
}

void useSharedCounter(bool shared) noexcept
{
    if (shared && useCycles) {
        sharedCounter = now();
    }
    useCycles = !shared && systemTrustsCycles();
}

} // namespace tolvane::stamps
