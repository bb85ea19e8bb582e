#include "tests/helpers/errorcodes.h"

#include <cerrno>

namespace errorcodes {

void set(int value) noexcept
{
    errno = value;
}

bool are(int value) noexcept
{
    return errno == value;
}

} // namespace errorcodes
