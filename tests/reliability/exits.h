#pragma once

#include <string>
#include <vector>

namespace reliability {

/// A way in which a process ends.
struct exitway
{
    const char* name; ///< as in "exit-by-name"
    const char* injected;
    int code; ///< that the process ends with

    bool keepsLines; ///< every line that was traced before must be in the file
    const char* promise;

    /// Ends the process, or does what comes before main returns.
    void (*leave)();
};

constexpr const char* promiseOfReturn = "Neither crash nor hang; every line that was traced before "
                                        "is in the file. On Windows the system "
                                        "ends the other threads first, and what waits may be lost.";
constexpr const char* promiseOfOthers =
    "Neither crash nor hang; what waits is lost. What is in the file is whole lines, but for the "
    "last one.";

/// Those that only this platform has.
std::vector<exitway> platformExits();

/// To be called before such an end: no thread is ended amid the heap's work.
void keepHeapWhole();

/// What a process ends with that calls abort.
int abortCode();

/// What a process ends with whose system fails itself while it ends the process's threads; no
/// process's code where that does not happen.
long long systemFailureCode();

} // namespace reliability
