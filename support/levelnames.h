#pragma once

#include <tolvane/tracelevel.h>

namespace tolvane {

/// What people call a level.
struct levelname
{
    const char* word;
    char letter;
};

/// In the order of the levels' numbers.
inline constexpr levelname levelNames[] = {
    {"always", '!'},  {"error", 'E'}, {"warning", 'W'}, {"info", 'I'},
    {"verbose", 'V'}, {"debug", 'D'}, {"trace", 'T'},
};

inline bool hasName(tracelevel_t level) noexcept
{
    return level >= tl_always && level <= tl_trace;
}

/// What is none of the levels counts as tl_always.
inline const levelname& nameOf(tracelevel_t level) noexcept
{
    return levelNames[hasName(level) ? level : tl_always];
}

} // namespace tolvane
