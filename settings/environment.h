#pragma once

#include <string>

namespace tolvane {

/// Reads a variable of the process's environment. No other thread may change the environment
/// meanwhile. Throws std::bad_alloc only.
///
/// \param name  in the C library's encoding.
/// \return false when there is no such variable, or the process has more rights than whoever
///         started it.
bool readEnvironment(const char* name, std::wstring& text);

} // namespace tolvane
