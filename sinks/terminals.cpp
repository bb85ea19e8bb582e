#include "sinks/terminals.h"

#include <atomic>

namespace tolvane {

namespace {

std::atomic<const Terminals*> replacement{nullptr};

/// Made when the library is loaded: a thread that the process's end or a fork stops amid the making
/// would leave others waiting for ever.
[[maybe_unused]] const Terminals& early = Terminals::platform();

} // namespace

const Terminals& Terminals::current() noexcept
{
    const Terminals* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : platform();
}

std::optional<standardstream> Terminals::streamOf(std::streambuf* buffer) const
{
    return standardStreamOf(buffer);
}

void Terminals::use(const Terminals* terminals) noexcept
{
    replacement.store(terminals, std::memory_order_release);
}

} // namespace tolvane
