#include "tests/helpers/library.h"

#include "support/windows/platform.h"

library::library(const std::string& name) : m_handle(LoadLibraryA((name + ".dll").c_str())) {}

library::~library()
{
    if (m_handle) {
        FreeLibrary(static_cast<HMODULE>(m_handle));
    }
}

library::anyfunction library::find(const char* name) const
{
    return reinterpret_cast<anyfunction>(GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

bool library::isInMemory(const std::string& name)
{
    return GetModuleHandleA((name + ".dll").c_str()) != nullptr;
}
