#include "support/file.h"

#include "support/windows/filetimes.h"
#include "support/windows/platform.h"

namespace tolvane {

bool appendToFile(const std::string& path, const std::string& bytes) noexcept
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
    const bool ok =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != 0;
    CloseHandle(file);
    return ok && written == bytes.size();
}

} // namespace tolvane
