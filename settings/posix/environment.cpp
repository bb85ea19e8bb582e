#include "settings/environment.h"

#include "support/utf8.h"

#include <stdlib.h>

namespace tolvane {

/// As UTF-8: programs that do not ask for a locale have one that knows ASCII only.
bool readEnvironment(const char* name, std::wstring& text)
{
    const char* const value = ::secure_getenv(name);
    if (!value) {
        return false;
    }
    text.clear();
    utf8::appendWide(text, value);
    return true;
}

} // namespace tolvane
