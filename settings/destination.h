#pragma once

#include <tolvane/string.h>

#include <string_view>

namespace tolvane {

/// Where lines go, as people write it: "stdout", "stderr", "file:PATH", "rotating:PATH:FILES:KIB",
/// "json:PATH".
///
/// The words are read in any case, and blanks around the parts are ignored. Figures are looked for
/// from the right: a path may have colons.
struct destination
{
    enum kind_t
    {
        standardOutput,
        standardError,
        file,
        rotatingFile,
        jsonFile,
    };

    kind_t kind = standardError;
    string path;                    ///< of files
    unsigned long long files = 0;   ///< of rotating ones
    unsigned long long maxsize = 0; ///< KiB, of rotating ones

    /// \return what is wrong with the text; null when it is fine. What was there before stays then.
    const wchar_t* read(std::wstring_view text);

    /// Whether a sink for the one replaces a sink for the other.
    bool isSamePlace(const destination& other) const noexcept
    {
        return path == other.path && (kind == other.kind || !path.empty());
    }

    bool operator==(const destination& other) const noexcept
    {
        return kind == other.kind && path == other.path && files == other.files &&
               maxsize == other.maxsize;
    }

private:
    const wchar_t* readFile(kind_t as, std::wstring_view text);
    const wchar_t* readRotating(std::wstring_view text);
};

} // namespace tolvane
