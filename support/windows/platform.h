#pragma once

/// The platform's header without the parts and macros that get in the way.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace tolvane {

/// Wide text as the platform's functions take it. Its characters are wchar_t, but not in the
/// headers of all who offer some.
inline const WCHAR* platformText(const wchar_t* text) noexcept
{
    return reinterpret_cast<const WCHAR*>(text);
}

inline WCHAR* platformText(wchar_t* text) noexcept
{
    return reinterpret_cast<WCHAR*>(text);
}

} // namespace tolvane
