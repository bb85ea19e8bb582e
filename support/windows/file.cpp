#include "support/appendedfile.h"

#include "support/windows/filetimes.h"
#include "support/windows/nativepath.h"
#include "support/windows/platform.h"

#include <winternl.h>

#include <algorithm>

namespace tolvane {

namespace {

HANDLE handleOf(std::intptr_t file) noexcept
{
    return reinterpret_cast<HANDLE>(file);
}

/// By the file's number alone. The platform's usual way tells the volume, too, and under Wine takes
/// four times as long for that as opening and closing the file.
bool identifyOpen(HANDLE file, FileIdentity& identity) noexcept
{
    constexpr auto fileInternalInformation = static_cast<FILE_INFORMATION_CLASS>(6);
    LARGE_INTEGER number = {};
    IO_STATUS_BLOCK status = {};
    const bool ok =
        NtQueryInformationFile(file, &status, &number, sizeof number, fileInternalInformation) >= 0;
    identity.number = static_cast<unsigned long long>(number.QuadPart);
    return ok;
}

} // namespace

/// With the right to append only, every write goes to the file's end, wherever that is.
AppendedFile::AppendedFile(const std::string& path, bool mayWait) noexcept : m_mayWait(mayWait)
{
    const NativePath native(path);
    const HANDLE file =
        CreateFileW(platformText(native.c_str()), FILE_APPEND_DATA | FILE_WRITE_ATTRIBUTES,
                    sharedWithAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD error = GetLastError();
    const bool made = error != ERROR_ALREADY_EXISTS;
    m_file = reinterpret_cast<std::intptr_t>(file);
    if (!isOpen()) {
        m_error = static_cast<int>(error);
    } else if (made) {
        markAsCreatedNow(file);
    }
}

AppendedFile::~AppendedFile()
{
    if (isOpen()) {
        CloseHandle(handleOf(m_file));
    }
}

bool AppendedFile::isOpen() const noexcept
{
    return handleOf(m_file) != INVALID_HANDLE_VALUE;
}

/// With one write, but for more bytes than the system takes at a time.
std::size_t AppendedFile::write(const char* bytes, std::size_t count) noexcept
{
    constexpr std::size_t most = 1 << 30;
    std::size_t done = 0;
    while (done < count) {
        DWORD written = 0;
        const auto part = static_cast<DWORD>(std::min(count - done, most));
        if (!WriteFile(handleOf(m_file), bytes + done, part, &written, nullptr)) {
            m_error = static_cast<int>(GetLastError());
            break;
        }
        if (written == 0) {
            m_error = ERROR_DISK_FULL;
            break;
        }
        done += written;
    }
    return done;
}

/// To cut takes a right that would take writes away from the file's end. The file may still grow
/// between the look at its size and the cut, by somebody who found room where there was none a
/// moment ago.
bool AppendedFile::cut(std::size_t count) const noexcept
{
    const LARGE_INTEGER here = {};
    LARGE_INTEGER writtenUpTo = {};
    LARGE_INTEGER size = {};
    if (!SetFilePointerEx(handleOf(m_file), here, &writtenUpTo, FILE_CURRENT) ||
        writtenUpTo.QuadPart < static_cast<long long>(count)) {
        return false;
    }
    const HANDLE file = ReOpenFile(handleOf(m_file), FILE_WRITE_DATA, sharedWithAll, 0);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    FILE_END_OF_FILE_INFO end;
    end.EndOfFile.QuadPart = writtenUpTo.QuadPart - static_cast<long long>(count);
    const bool isCut = GetFileSizeEx(file, &size) && size.QuadPart == writtenUpTo.QuadPart &&
                       SetFileInformationByHandle(file, FileEndOfFileInfo, &end, sizeof end);
    CloseHandle(file);
    return isCut;
}

bool AppendedFile::end(FileEnd& end) const noexcept
{
    LARGE_INTEGER size = {};
    if (!identifyOpen(handleOf(m_file), end.file)) {
        return false;
    }
    GetFileSizeEx(handleOf(m_file), &size); // 0 for what has none
    end.size = static_cast<unsigned long long>(size.QuadPart);
    return true;
}

bool identify(const std::string& path, FileIdentity& identity) noexcept
{
    const HANDLE file =
        CreateFileW(platformText(NativePath(path).c_str()), FILE_READ_ATTRIBUTES, sharedWithAll,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool ok = identifyOpen(file, identity);
    CloseHandle(file);
    return ok;
}

namespace {

/// Closes it at the end of a block, also when memory is out.
struct OpenFile
{
    ~OpenFile()
    {
        if (handle != INVALID_HANDLE_VALUE) {
            CloseHandle(handle);
        }
    }

    const HANDLE handle;
};

} // namespace

bool readFile(const std::string& path, std::size_t most, std::string& bytes)
{
    const OpenFile file = {CreateFileW(platformText(NativePath(path).c_str()), GENERIC_READ,
                                       sharedWithAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                       nullptr)};
    if (file.handle == INVALID_HANDLE_VALUE || GetFileType(file.handle) != FILE_TYPE_DISK) {
        return false;
    }
    bytes.clear();
    char piece[4096];
    DWORD count = 0;
    do {
        if (!ReadFile(file.handle, piece, sizeof piece, &count, nullptr)) {
            return false;
        }
        bytes.append(piece, count);
    } while (count != 0 && bytes.size() <= most);
    return count == 0;
}

} // namespace tolvane
