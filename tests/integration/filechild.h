#pragma once

#include <map>
#include <string>

/// What the child processes of the tests about files have in common.
namespace filechild {

/// A case: what to do with a folder that is empty at first. \return the exit code.
using case_t = int (*)(const std::string& folder);

/// Those that only this platform has.
const std::map<std::string, case_t>& platformCases();

/// Traces numbered lines and waits until they are written or lost. The file's name is where they
/// are to go.
/// \param bodyLength  of the lines, the number included.
void traceLines(int first, int count, std::size_t bodyLength = 60);

/// Prints "name: number".
void say(const char* name, unsigned long long number);

/// Prints what trace::lost() says by then of destinations.
void sayLost(const char* name);

std::string read(const std::string& path);

/// Prints how many lines a file has, and "torn" when it is not made of whole lines as traceLines
/// writes them, or when their numbers don't rise.
void sayLines(const char* name, const std::string& path);

} // namespace filechild
