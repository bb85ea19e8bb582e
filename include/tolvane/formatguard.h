#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Makes a text in a function that may throw, and keeps standard exceptions from who traces. What
/// else is thrown, and a hardware fault, passes through. Programs that are compiled without
/// exceptions need it, too.
class formatguard
{
public:
    using step_t = void (*)(void* context);

    /// Calls the function.
    TOLVANE_EXPORT formatguard(step_t step, void* context);

    /// What went wrong, in words; empty when nothing did.
    const string& problem() const noexcept { return m_problem; }

private:
    string m_problem;
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
