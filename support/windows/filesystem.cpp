#include "support/filesystem.h"

#include "support/windows/filetimes.h"
#include "support/windows/nativepath.h"
#include "support/windows/platform.h"

#include <stdio.h>
#include <sys/stat.h>

#include <memory>

namespace tolvane {

namespace {

struct SearchCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE search) const noexcept { FindClose(search); }
};

/// What a number has is left as it is, all else is none.
std::string asciiOf(const WCHAR* name)
{
    constexpr WCHAR lastAscii = 0x7F;
    std::string ascii;
    for (; *name != 0; ++name) {
        ascii += *name > lastAscii ? '?' : static_cast<char>(*name);
    }
    return ascii;
}

class WindowsFileSystem : public FileSystem
{
public:
    bool status(const std::string& path, FileStatus& status) const override
    {
        struct _stat64 found;
        if (_wstat64(NativePath(path).c_str(), &found) != 0) {
            return false;
        }
        status.size = static_cast<unsigned long long>(found.st_size);
        status.created = static_cast<unsigned long long>(found.st_ctime);
        return true;
    }

    bool exists(const std::string& path) const override
    {
        return GetFileAttributesW(platformText(NativePath(path).c_str())) !=
               INVALID_FILE_ATTRIBUTES;
    }

    void remove(const std::string& path) const override { _wremove(NativePath(path).c_str()); }

    void rename(const std::string& from, const std::string& to) const override
    {
        _wrename(NativePath(from).c_str(), NativePath(to).c_str());
    }

    void createEmpty(const std::string& path) const override
    {
        const HANDLE file =
            CreateFileW(platformText(NativePath(path).c_str()), GENERIC_WRITE, sharedWithAll,
                        nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            markAsCreatedNow(file);
            CloseHandle(file);
        }
    }

    bool numbersBehind(const std::string& path,
                       std::vector<unsigned long long>& numbers) const override
    {
        WIN32_FIND_DATAW found;
        const HANDLE first = FindFirstFileW(platformText(NativePath(path + ".*").c_str()), &found);
        if (first == INVALID_HANDLE_VALUE) {
            return GetLastError() == ERROR_FILE_NOT_FOUND;
        }
        const std::unique_ptr<HANDLE, SearchCloser> search(first);
        do {
            appendNumber(numbers, asciiOf(found.cFileName));
        } while (FindNextFileW(search.get(), &found));
        return GetLastError() == ERROR_NO_MORE_FILES;
    }
};

} // namespace

/// Never destroyed: lines are written until the very end of the process.
const FileSystem& FileSystem::platform() noexcept
{
    static const FileSystem* const fileSystem = new WindowsFileSystem;
    return *fileSystem;
}

} // namespace tolvane
