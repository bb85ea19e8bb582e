#include "bench/peers/completion.h"

#include <tolvane/trace.h>

#include <iostream>

namespace bench {

void waitForLines()
{
    constexpr unsigned long long longEnough = 60000; ///< milliseconds, for any number of lines
    if (!trace::sync(longEnough)) {
        std::cerr << "WARNING: the lines were not written within a minute\n";
    }
}

std::optional<unsigned long long> lostLines()
{
    return trace::lost();
}

} // namespace bench
