#include "support/file.h"

#include "support/windows/platform.h"

namespace tolvane {

namespace {

constexpr DWORD sharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

} // namespace

bool appendToFile(const std::string& path, const std::string& bytes) noexcept
{
    const HANDLE file = CreateFileA(path.c_str(), FILE_APPEND_DATA, sharedWithAll, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD written = 0;
    const bool ok =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != 0;
    CloseHandle(file);
    return ok && written == bytes.size();
}

} // namespace tolvane
