#pragma once

#include <tolvane/stacktrace.h>

#include <unordered_map>

/// Every thread's stack by the thread's number. Entries are never removed and never move.
struct stacktrace::Registry : std::unordered_map<unsigned int, stacktrace>
{};
