#pragma once

#include "bench/measure.h"

#include <atomic>
#include <optional>
#include <string>

/// One logging library, set up as its manual recommends for many lines from many threads into one
/// file, asynchronous where it can be. Each library is one source file beside this header, and a
/// benchmark is linked with one of them.
///
/// A line has time stamp, thread, level, function, a short text and a number, as far as the
/// library's layout goes. A library without a scope of its own writes two lines instead.
namespace bench {

enum class detail
{
    lines,  ///< info and above
    scopes, ///< entry and exit of functions too
};

/// Lines that the library itself puts at the top of a file.
extern const std::size_t headerLines;

/// Called once, before anything else.
void openLog(const std::string& file, detail level);

/// Writes enabled lines; one thread calls it once a burst, several may at once.
void lines(int count, clock::time_point* stamps);

/// Comes to lines of a level that is switched off.
void suppressedLines(int count);

/// Enters and leaves a function.
void scopes(int count, clock::time_point* stamps);

/// Returns when the last byte is in the file. Nothing of the above is called afterwards.
void closeLog();

/// Lines that the library itself knows to be lost; nothing when it does not count them.
std::optional<unsigned long long> countedAsLost();

/// Does an action count times, with its number, and notes the time after each unless stamps is
/// null. The fence keeps the compiler from moving what the action reads out of the loop.
template <class action_t>
void repeat(int count, clock::time_point* stamps, action_t action)
{
    for (int number = 0; number < count; ++number) {
        action(number);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (stamps) {
            stamps[number] = clock::now();
        }
    }
}

} // namespace bench
