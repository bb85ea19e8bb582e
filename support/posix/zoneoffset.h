#pragma once

#include <time.h>

namespace tolvane {

/// The local zone's offset from UTC, in seconds, at a time. The C library is asked when the time is
/// in another second than the last one: zones change at whole seconds. Any thread may call it.
long zoneOffset(time_t second) noexcept;

} // namespace tolvane
