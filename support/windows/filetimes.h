#pragma once

#include "support/windows/platform.h"

namespace tolvane {

/// Others may do with a trace file what they like while it is open.
constexpr DWORD sharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Sets the creation time of a file that was just made. NTFS gives a name that is used again within
/// 15 seconds the creation time of the file that had it before, as if the new file were as old.
///
/// \param file  open with the right to write attributes; when it cannot be done, the file keeps its
///              time.
inline void markAsCreatedNow(HANDLE file) noexcept
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    SetFileTime(file, &now, nullptr, nullptr);
}

} // namespace tolvane
