#pragma once

namespace sanitizer {

/// Whether the tests are built with one, and run many times slower.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool present = true;
#else
constexpr bool present = false;
#endif

} // namespace sanitizer
