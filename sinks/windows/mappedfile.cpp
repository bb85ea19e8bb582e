#include "sinks/mappedfile.h"

#include "support/windows/nativepath.h"
#include "support/windows/platform.h"

namespace tolvane {

namespace {

HANDLE handleOf(std::intptr_t file) noexcept
{
    return reinterpret_cast<HANDLE>(file);
}

int lastError() noexcept
{
    return static_cast<int>(GetLastError());
}

/// Gives the file its size, and the room on the disk with it.
bool resize(HANDLE file, long long size) noexcept
{
    LARGE_INTEGER to = {};
    to.QuadPart = size;
    return SetFilePointerEx(file, to, nullptr, FILE_BEGIN) && SetEndOfFile(file);
}

} // namespace

/// Others may read it, and not open it for writing.
MappedFile::MappedFile(const std::string& path, std::size_t size, std::string_view mark) noexcept
    : m_file(reinterpret_cast<std::intptr_t>(
          CreateFileW(platformText(NativePath(path).c_str()), GENERIC_READ | GENERIC_WRITE,
                      FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))),
      m_size(size)
{
    m_error = handleOf(m_file) == INVALID_HANDLE_VALUE ? lastError() : prepare(size, mark);
    if (m_error == 0) {
        map();
    }
}

void MappedFile::map() noexcept
{
    const HANDLE mapping =
        CreateFileMappingA(handleOf(m_file), nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping) {
        m_memory =
            static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, m_size));
    }
    m_error = m_memory ? 0 : lastError();
    if (mapping) {
        CloseHandle(mapping); // the view keeps what it needs
    }
}

MappedFile::~MappedFile()
{
    if (m_memory) {
        UnmapViewOfFile(m_memory);
    }
    if (handleOf(m_file) != INVALID_HANDLE_VALUE) {
        CloseHandle(handleOf(m_file));
    }
}

/// \return an error; 0 without one.
int MappedFile::prepare(std::size_t size, std::string_view mark) const noexcept
{
    const HANDLE file = handleOf(m_file);
    LARGE_INTEGER found = {};
    char begin[longestMark];
    DWORD read = 0;
    if (GetFileType(file) != FILE_TYPE_DISK) {
        return ERROR_INVALID_HANDLE;
    }
    if (!GetFileSizeEx(file, &found) || !ReadFile(file, begin, sizeof begin, &read, nullptr)) {
        return lastError();
    }
    if (!mayTake({begin, read}, mark)) {
        return ERROR_FILE_EXISTS;
    }
    const auto wanted = static_cast<long long>(size);
    if (found.QuadPart == wanted) {
        return 0;
    }
    if (!resize(file, 0) || !resize(file, wanted)) {
        const int error = lastError();
        resize(file, 0); // it stays as large as it got where that fails
        return error;
    }
    return 0;
}

} // namespace tolvane
