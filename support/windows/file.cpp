#include "support/file.h"

#include "support/windows/filetimes.h"
#include "support/windows/platform.h"

namespace tolvane {

bool appendToFile(const std::string& path, const char* bytes, std::size_t count) noexcept
{
    const HANDLE file =
        CreateFileA(path.c_str(), FILE_APPEND_DATA | FILE_WRITE_ATTRIBUTES, sharedWithAll, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const bool made = GetLastError() != ERROR_ALREADY_EXISTS;
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    if (made) {
        markAsCreatedNow(file);
    }
    DWORD written = 0;
    WriteFile(file, bytes, static_cast<DWORD>(count), &written,
              nullptr); // bytes that do not fit are lost
    CloseHandle(file);
    return true;
}

bool identify(const std::string& path, FileIdentity& identity) noexcept
{
    const HANDLE file = CreateFileA(path.c_str(), FILE_READ_ATTRIBUTES, sharedWithAll, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION found;
    const bool ok = GetFileInformationByHandle(file, &found) != 0;
    CloseHandle(file);
    if (ok) {
        identity.volume = found.dwVolumeSerialNumber;
        identity.number =
            static_cast<unsigned long long>(found.nFileIndexHigh) << 32 | found.nFileIndexLow;
    }
    return ok;
}

} // namespace tolvane
