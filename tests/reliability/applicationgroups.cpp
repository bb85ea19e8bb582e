#include "tests/reliability/groups.h"

namespace reliability {

const char* const programName = "tolvane_reliability";

std::vector<group> allGroups()
{
    return {sinkRows(),  threadRows(), exitRows(),    faultRows(),
            inputRows(), misuseRows(), processRows(), fileRows()};
}

} // namespace reliability
