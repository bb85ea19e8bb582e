#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// What every benchmark needs: a clock, statistics, and results in a form that scripts/bench reads.
namespace bench {

using clock = std::chrono::steady_clock;

/// Nanoseconds between two readings of the clock.
inline double nanoseconds(clock::time_point from, clock::time_point to)
{
    return std::chrono::duration<double, std::nano>(to - from).count();
}

/// What one reading of the clock costs, in nanoseconds, when nothing interrupts it.
double clockCost();

/// The value below which the given share (0..1) of the values lie; 0 without a value.
double quantile(std::vector<double> values, double share);

/// Lines of a file, by its line feeds; 0 when it cannot be read.
std::size_t countLines(const std::string& file);

/// Prints one result: a line of name, value and unit, separated by tabs.
void report(const std::string& name, double value, const std::string& unit);

/// The same for a speed that is worth something only when the lines have arrived: the lines of the
/// file and those that are missing stand beside it.
void report(const std::string& name, double value, const std::string& unit, std::size_t written,
            std::size_t sent);

/// Prints what made this program, and warns on standard error when its figures mean nothing, since
/// it was built without optimisation, with assertions or with a sanitizer.
void reportBuild();

} // namespace bench
