#pragma once

#include "settings/destination.h"
#include "settings/levelsettings.h"

#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

/// Levels and where the lines go, as people write them:
/// "*=info, shop=trace > file:shop.log; *=error > stderr".
///
/// Entries with semicolons or line feeds between, each levels, a sign and a destination; without
/// the sign it is standard error. Empty entries are skipped. Of entries for one destination the
/// last counts, also where one is for text and the other one for JSON.
class outputsettings
{
public:
    struct entry
    {
        levelsettings levels;
        destination to;
    };

    /// Reads a text in the place of what was read before.
    /// \return false when an entry is malformed; then wrong() tells which, and there are none.
    bool read(std::wstring_view text);

    const std::vector<entry>& all() const noexcept { return m_all; }

    /// The first malformed entry, and what is wrong with it.
    const std::wstring& wrong() const noexcept { return m_wrong; }

private:
    bool readEntry(std::wstring_view text);
    bool refuse(std::wstring_view text, std::wstring_view why);

    std::vector<entry> m_all;
    std::wstring m_wrong;
};

} // namespace tolvane
