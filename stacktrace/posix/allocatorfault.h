#pragma once

namespace faults {

/// Whether the calling function was reached from within the C library's allocator, or whatever
/// takes its place: it may hold a lock that the thread would then wait for by itself.
bool isWithinAllocator() noexcept;

/// Keeps memory for one AllocatorFault at hand, for the calling thread as long as it lives.
void keepExceptionReserve() noexcept;

/// Gives that memory back: the allocator serves the thread's next demand for so much with it, and
/// needs no lock for it. Without a reserve nothing happens.
void releaseExceptionReserve() noexcept;

} // namespace faults
