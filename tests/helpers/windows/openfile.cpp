#include "tests/helpers/openfile.h"

#include "support/windows/platform.h"

openfile::openfile(const std::string& path)
    : m_handle(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))
{}

openfile::~openfile()
{
    CloseHandle(m_handle);
}

bool openfile::isOpen() const
{
    return m_handle != INVALID_HANDLE_VALUE;
}

/// The system gives new ones the lowest numbers that are free.
std::size_t openfile::openNumber()
{
    constexpr std::size_t step = 4;
    const HANDLE any = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(any);
    return reinterpret_cast<std::size_t>(any) / step;
}
