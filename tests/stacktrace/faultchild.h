#pragma once

#include <functional>
#include <map>
#include <string>

/// The cases of the fault child by name. A case runs on the thread that the caller of the child
/// chose, and gets the child's further argument.
using faultcases = std::map<std::string, std::function<void(const std::string&)>>;

/// Cases of the platform alone.
faultcases platformFaultCases();

/// Faults within the very try block that catches them; needs the compiler's support for that.
faultcases directFaultCases();

/// Writes a line to standard output, unbuffered: the process may end at any time.
void say(const std::string& line);

/// Says "ok" and the case's name, or "failed".
void sayWhether(bool succeeded, const std::string& what);
