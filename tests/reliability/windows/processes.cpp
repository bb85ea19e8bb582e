#include "tests/reliability/processes.h"

namespace reliability {

std::vector<row> platformProcesses()
{
    return {};
}

} // namespace reliability
