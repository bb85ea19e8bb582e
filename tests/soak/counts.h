#pragma once

#include "tests/helpers/traceimpltest.h"

/// What became of the lines that a sink was offered.
struct soakcounts
{
    unsigned long long written = 0;
    unsigned long long lost = 0;
    unsigned long long refused = 0;

    /// Of an attached sink. To be called while its counts do not change.
    static soakcounts of(unsigned long long id)
    {
        const sinkcounts& counts = traceimpltest::countsNow(id);
        soakcounts now{counts.written, 0, counts.refused};
        for (const auto& lost : counts.lost) {
            now.lost += lost;
        }
        return now;
    }

    unsigned long long total() const { return written + lost + refused; }

    soakcounts& operator+=(const soakcounts& more)
    {
        written += more.written;
        lost += more.lost;
        refused += more.refused;
        return *this;
    }
};
