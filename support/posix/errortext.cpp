#include "support/errortext.h"

#include <tolvane/string.h>

#include <cstring>

namespace tolvane {

std::wstring errorText(int error)
{
    char buffer[256];
    const string text(static_cast<const char*>(::strerror_r(error, buffer, sizeof buffer)));
    return text.c_str();
}

} // namespace tolvane
