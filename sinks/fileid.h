#pragma once

#include <tolvane/string.h>

#include "function/componenthash.h"

/// The id of the sinks for a file: a hash of its name as it stands.
inline unsigned long long idOfFile(const tolvane::string& name) noexcept
{
    return static_cast<unsigned long long>(componentHash(name.c_str(), name.length()));
}
