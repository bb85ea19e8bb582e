#pragma once

#include <tolvane/tracestream.h>

#include "trace/insidelibrary.h"

/// A sink's id(), which may be the application's own code.
inline unsigned long long idOf(const tracestream& sink)
{
    const outsidelibrary outside;
    return sink.id();
}
