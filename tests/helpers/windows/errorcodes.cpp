#include "tests/helpers/errorcodes.h"

#include "support/windows/platform.h"

#include <cerrno>

namespace errorcodes {

void set(int value) noexcept
{
    errno = value;
    SetLastError(static_cast<DWORD>(value));
}

bool are(int value) noexcept
{
    const DWORD last = GetLastError();
    return errno == value && last == static_cast<DWORD>(value);
}

} // namespace errorcodes
