#pragma once

namespace bench {

/// Bytes that this program and the libraries linked into it hold from operator new, without what
/// the allocator needs for itself. Any thread may ask.
long long bytesInUse();

} // namespace bench
