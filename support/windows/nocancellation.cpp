#include "support/nocancellation.h"

namespace tolvane {

/// Threads are not cancelled here.
NoCancellation::NoCancellation() noexcept = default;

NoCancellation::~NoCancellation() = default;

} // namespace tolvane
