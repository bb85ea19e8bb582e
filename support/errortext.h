#pragma once

#include <string>

namespace tolvane {

/// What one of the platform's error codes means, in words, without a full stop. Any thread may call
/// it. Throws std::bad_alloc only.
std::wstring errorText(int error);

} // namespace tolvane
