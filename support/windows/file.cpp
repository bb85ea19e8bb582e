#include "support/file.h"

#include "support/windows/filetimes.h"
#include "support/windows/platform.h"

#include <winternl.h>

#include <algorithm>

namespace tolvane {

namespace {

/// With one write, but for more bytes than the system takes at a time.
/// \return how many bytes were written.
std::size_t writeAll(HANDLE file, const char* bytes, std::size_t count) noexcept
{
    constexpr std::size_t most = 1 << 30;
    std::size_t done = 0;
    while (done < count) {
        DWORD written = 0;
        const auto part = static_cast<DWORD>(std::min(count - done, most));
        if (!WriteFile(file, bytes + done, part, &written, nullptr) || written == 0) {
            break;
        }
        done += written;
    }
    return done;
}

} // namespace

Appended appendToFile(const std::string& path, const char* bytes, std::size_t count) noexcept
{
    const HANDLE file =
        CreateFileA(path.c_str(), FILE_APPEND_DATA | FILE_WRITE_ATTRIBUTES, sharedWithAll, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const bool made = GetLastError() != ERROR_ALREADY_EXISTS;
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    if (made) {
        markAsCreatedNow(file);
    }
    const std::size_t written = writeAll(file, bytes, count);
    CloseHandle(file);
    return {true, written};
}

/// By the file's number alone. The platform's usual way tells the volume, too, and under Wine takes
/// four times as long for that as opening and closing the file.
bool identify(const std::string& path, FileIdentity& identity) noexcept
{
    const HANDLE file = CreateFileA(path.c_str(), FILE_READ_ATTRIBUTES, sharedWithAll, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    constexpr auto fileInternalInformation = static_cast<FILE_INFORMATION_CLASS>(6);
    LARGE_INTEGER number = {};
    IO_STATUS_BLOCK status = {};
    const bool ok =
        NtQueryInformationFile(file, &status, &number, sizeof number, fileInternalInformation) >= 0;
    CloseHandle(file);
    identity.number = static_cast<unsigned long long>(number.QuadPart);
    return ok;
}

} // namespace tolvane
