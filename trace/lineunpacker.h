#pragma once

#include <tolvane/formattedline.h>

#include "trace/operands.h"
#include "trace/packedlines.h"

/// Makes the records of queued lines for the sinks, all in the memory of one.
class lineunpacker
{
public:
    lineunpacker() = default;

    lineunpacker(const lineunpacker&) = delete;
    lineunpacker& operator=(const lineunpacker&) = delete;

    /// The line's record, until the next call. Throws std::bad_alloc only.
    const formattedline& unpack(const queuedline& line);

private:
    void unpackName(const queuedline& line);
    void unpackText(const queuedline& line);

    formattedline m_record;
    operandreader m_reader;
};
