#pragma once

namespace bench {

/// Bytes of the process that are in memory at this moment; 0 when the system does not tell.
long long residentSize();

} // namespace bench
