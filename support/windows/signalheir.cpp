#include "support/signalheir.h"

namespace tolvane {

/// The system calls console handlers on threads of its own.
void appointSignalHeir(const SignalBequest&) noexcept {}

void noteEndWithoutHeir() noexcept {}

} // namespace tolvane
