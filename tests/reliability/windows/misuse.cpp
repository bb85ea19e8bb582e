#include "tests/reliability/misuse.h"

namespace reliability {

std::vector<row> platformMisuse()
{
    return {};
}

} // namespace reliability
