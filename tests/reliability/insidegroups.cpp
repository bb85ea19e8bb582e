#include "tests/reliability/groups.h"

namespace reliability {

const char* const programName = "tolvane_reliability_inside";

std::vector<group> allGroups()
{
    return {memoryRows(), clockRows()};
}

} // namespace reliability
