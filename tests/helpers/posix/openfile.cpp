#include "tests/helpers/openfile.h"

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
