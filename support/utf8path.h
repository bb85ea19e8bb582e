#pragma once

#include <string>
#include <string_view>

namespace tolvane {

/// The path that a name is, as the platform takes it and whatever the locale: where the system's
/// names are bytes, those that appendWideWithBytes() has made the name of.
std::string utf8Path(std::wstring_view name);

} // namespace tolvane
