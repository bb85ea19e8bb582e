#include "tests/helpers/library.h"

#include "tests/helpers/childprocess.h"

#include <dlfcn.h>

namespace {

std::string pathOf(const std::string& name)
{
    return childprocess::beside("lib" + name + ".so").string();
}

} // namespace

library::library(const std::string& name) : m_handle(dlopen(pathOf(name).c_str(), RTLD_NOW)) {}

library::~library()
{
    if (m_handle) {
        dlclose(m_handle);
    }
}

library::anyfunction library::find(const char* name) const
{
    return reinterpret_cast<anyfunction>(dlsym(m_handle, name));
}

bool library::isInMemory(const std::string& name)
{
    void* const handle = dlopen(pathOf(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) {
        dlclose(handle);
    }
    return handle != nullptr;
}
