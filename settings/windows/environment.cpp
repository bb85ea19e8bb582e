#include "settings/environment.h"

#include <tolvane/string.h>

#include "support/windows/platform.h"

namespace tolvane {

/// Another thread may make the variable longer between the question for its length and the reading.
bool readEnvironment(const char* name, std::wstring& text)
{
    const string wideName(name);
    DWORD size = GetEnvironmentVariableW(platformText(wideName.c_str()), nullptr, 0);
    while (size != 0) { // with the 0 at the end
        text.resize(size);
        const DWORD read = GetEnvironmentVariableW(platformText(wideName.c_str()),
                                                   platformText(text.data()), size);
        if (read < size) {
            text.resize(read);
            return read != 0;
        }
        size = read;
    }
    return false;
}

} // namespace tolvane
