#pragma once

#include <map>
#include <string>

namespace sanitizer {

/// Whether the tests are built with one, and run many times slower.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool present = true;
#else
constexpr bool present = false;
#endif

/// Whether it is one whose allocator's locks stay taken in a forked process, when other threads
/// allocated at that moment.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool hindersForks = true;
#else
constexpr bool hindersForks = false;
#endif

/// The environment of a program some of whose threads are ended, or stay behind in another process,
/// with all that they hold.
inline std::map<std::string, std::string> withoutLeaks()
{
    return {{"LSAN_OPTIONS", "detect_leaks=0"}};
}

} // namespace sanitizer
