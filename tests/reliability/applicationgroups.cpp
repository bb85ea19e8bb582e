#include "tests/reliability/groups.h"

namespace reliability {

const char* const programName = "tolvane_reliability";

std::vector<group> allGroups()
{
    return {sinkRows(), threadRows(), exitRows(), inputRows(), misuseRows(), processRows()};
}

} // namespace reliability
