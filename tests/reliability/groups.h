#pragma once

#include "tests/reliability/rows.h"

/// The groups, each in the source file of its name: sinkRows() in sinks_rows.cpp.
namespace reliability {

group clockRows();
group exitRows();
group faultRows();
group fileRows();
group inputRows();
group memoryRows();
group misuseRows();
group processRows();
group sinkRows();
group threadRows();

} // namespace reliability
