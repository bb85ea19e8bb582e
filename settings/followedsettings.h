#pragma once

#include <tolvane/string.h>

#include "settings/outputsettings.h"

#include <optional>
#include <string>

namespace tolvane {

/// The file whose settings are followed, and what was read from it.
struct followedsettings
{
    string path; ///< empty: none

    /// What was read last. A file that somebody is writing is not looked at before it was found
    /// the same twice.
    std::optional<std::string> seen;

    std::optional<std::string> taken; ///< what was made of it last, or found malformed
    outputsettings current;           ///< in force, be it from a file that was followed before
};

} // namespace tolvane
