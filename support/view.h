#pragma once

#include <tolvane/string.h>

#include <string_view>

namespace tolvane {

/// The text, valid until its next change.
inline std::wstring_view view(const string& text) noexcept
{
    return {text.c_str(), static_cast<std::size_t>(text.length())};
}

} // namespace tolvane
