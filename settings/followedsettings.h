#pragma once

#include <tolvane/string.h>

#include "settings/outputsettings.h"
#include "settings/settingssinks.h"

#include <memory>
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

    std::optional<std::string> taken; ///< what was put in force last, or found malformed

    // What is wrong with the file, until it is mended.
    bool isUnreadable = false;
    std::wstring malformed; ///< empty: it was not

    std::unique_ptr<const SettingsSinks> sinks; ///< null without a path
    outputsettings current; ///< in force, be it from a file that was followed before
};

} // namespace tolvane
