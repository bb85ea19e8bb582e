#include <tolvane/stacktrace.h>

#include "tests/fuzz/fuzzers.h"

#include <cstdint>

// The entry points that libFuzzer calls, for the fuzzer that TOLVANE_FUZZED names.

/// A fault is a finding, and not for the library to handle: libFuzzer leaves handlers alone that it
/// finds.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    stacktrace::uninstallHandlers();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::choices input(bytes, size);
    fuzz::TOLVANE_FUZZED(input);
    return 0;
}
