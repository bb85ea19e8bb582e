#pragma once

#include "support/standarderror.h"

namespace faults {

/// Writes to standard error, as plain text, what the C++ runtime says of an exception that nobody
/// catches: its type and what(). For a terminate handler that takes the place of the runtime's.
void sayUncaught() noexcept;

/// Writes the name of the type of the exception that is being handled. By the compiler's runtime.
void nameUncaught(tolvane::StandardErrorText& out) noexcept;

} // namespace faults
