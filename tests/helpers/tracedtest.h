#pragma once

#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/traceimpltest.h"

/// A sink that takes lines up to tl_info, and a queue that a test sees.
struct tracedtest
{
    const probesink sink{1};
    const attached attachment{sink, tl_info};
    const heldqueue queue;
};
