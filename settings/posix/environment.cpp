#include "settings/environment.h"

#include "support/utf8.h"

#include <stdlib.h>

namespace tolvane {

/// As UTF-8, since programs that do not ask for a locale have one that knows ASCII only; a file's
/// name in it need not be that.
bool readEnvironment(const char* name, std::wstring& text)
{
    const char* const value = ::secure_getenv(name);
    if (!value) {
        return false;
    }
    text.clear();
    utf8::appendWideWithBytes(text, value);
    return true;
}

} // namespace tolvane
