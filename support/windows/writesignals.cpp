#include "support/writesignals.h"

namespace tolvane {

/// Writing sends no signals here.
WriteSignals::WriteSignals() noexcept = default;

WriteSignals::~WriteSignals() = default;

} // namespace tolvane
