#pragma once

#include <cstdint>

namespace faults {

/// The addresses of the library that holds the unwinder; empty when it is linked into the program
/// or into this library, where its functions can't be told from others.
struct UnwinderModule
{
    uint64_t begin = 0;
    uint64_t end = 0;

    bool holds(uint64_t address) const { return address >= begin && address < end; }
};

/// Searched for by the first call, which a signal handler must not be; safe in handlers from then
/// on. Thread-safe.
const UnwinderModule& unwinderModule();

} // namespace faults
