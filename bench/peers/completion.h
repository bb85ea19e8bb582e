#pragma once

#include <optional>

/// What the versions of this library do not have in common: how a program learns that all its lines
/// are written. Each way is one source file beside this header.
namespace bench {

/// Returns when the lines that were written before have reached the sinks.
void waitForLines();

/// Lines that did not reach a sink, if this version counts them.
std::optional<unsigned long long> lostLines();

} // namespace bench
