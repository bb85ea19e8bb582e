#pragma once

#include "bench/measure.h"

#include <functional>
#include <string>

namespace bench {

/// Does an action a number of times and notes the time after each.
using timedaction = std::function<void(int count, clock::time_point* stamps)>;

/// What the threads paid, in nanoseconds for one action, the clock's own cost taken off.
struct burstcosts
{
    double median;
    double p99;
    double mean;
    std::size_t actions; ///< of all threads, the first ones that only warm up included
};

/// Runs bursts of an action on several threads at once, with pauses, as programs trace: a burst
/// comes every 20 ms on each thread, all threads together.
burstcosts runBursts(int threads, int actionsPerBurst, const timedaction& action);

/// Prints the three costs under names that start with the given text.
void report(const std::string& name, const burstcosts& costs, std::size_t written,
            std::size_t sent);

} // namespace bench
