#pragma once

#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

/// A level, and whose it is to be.
struct namedlevel
{
    tolvane::string name; ///< empty for all that has no level of its own
    tracelevel_t level;
};
