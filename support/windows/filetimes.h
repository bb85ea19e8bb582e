#pragma once

#include "support/windows/platform.h"

namespace tolvane {

/// File times count ticks of 100 nanoseconds from 1601 on.
constexpr unsigned long long ticksPerSecond = 10000000;
constexpr unsigned long long secondsTo1970 = 11644473600;

inline unsigned long long toTicks(const FILETIME& time) noexcept
{
    return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

inline FILETIME toFileTime(unsigned long long ticks) noexcept
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

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
