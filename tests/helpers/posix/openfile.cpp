#include "tests/helpers/openfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

openfile::openfile(const std::string& path) : m_handle(std::fopen(path.c_str(), "a+")) {}

openfile::~openfile()
{
    if (m_handle) {
        std::fclose(static_cast<std::FILE*>(m_handle));
    }
}

bool openfile::isOpen() const
{
    return m_handle != nullptr;
}

/// The system gives new ones the lowest numbers that are free.
std::size_t openfile::openNumber()
{
    const int any = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(any);
    return static_cast<std::size_t>(any);
}
