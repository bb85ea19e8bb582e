#pragma once

#include <tolvane/tracelevel.h>

#include "function/namedlevel.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

/// Levels by name, as people write them: "*=warning, shop=debug, shop::order=trace".
///
/// A part is a name, or an asterisk for all that has no level of its own, and a level: a word, its
/// letter or its number. Blanks around them are ignored, and so are empty parts.
class levelsettings
{
public:
    /// Reads a text in the place of what was read before.
    /// \return false when a part is malformed; then wrong() tells which, and there are no settings.
    bool read(std::wstring_view text);

    /// A level's word; a number for what is none.
    static std::wstring nameOf(tracelevel_t level);

    /// In the order in which they are to be set: a name before what it contains, and the last of
    /// equal ones last.
    const std::vector<namedlevel>& all() const noexcept { return m_all; }

    /// The first malformed part, and what is wrong with it.
    const std::wstring& wrong() const noexcept { return m_wrong; }

private:
    using bylength_t = std::multimap<unsigned long long, namedlevel>;

    bool readPart(std::wstring_view part, bylength_t& read);
    bool refuse(std::wstring_view part, const wchar_t* why);

    std::vector<namedlevel> m_all;
    std::wstring m_wrong;
};

} // namespace tolvane
