#include "sinks/windows/debugger.h"

#include "support/windows/platform.h"

#include <atomic>

namespace tolvane {

namespace {

class SystemsDebugger : public Debugger
{
public:
    void tell(const wchar_t* text) const noexcept override
    {
        OutputDebugStringW(platformText(text));
    }
};

/// Never destroyed: lines are written until the very end of the process.
const Debugger& systems = *new SystemsDebugger;

std::atomic<const Debugger*> replacement{nullptr};

} // namespace

const Debugger& Debugger::current() noexcept
{
    const Debugger* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : systems;
}

void Debugger::use(const Debugger* debugger) noexcept
{
    replacement.store(debugger, std::memory_order_release);
}

} // namespace tolvane
