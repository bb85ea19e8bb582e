#pragma once

#include <tolvane/recorderfiletracestream.h>

#include "sinks/linering.h"
#include "sinks/mappedfile.h"
#include "support/forkcount.h"

#include <atomic>
#include <optional>
#include <string>

/// A recorder's file, once it is open. Used by the holder of the sink lock, but for what says so.
struct recorderfiletracestream::Impl
{
    Impl(const tolvane::string& path, unsigned long long sizeInKib);

    /// \return false when the line is lost.
    bool write(const tolvane::string& text);

    bool open();

    const tolvane::string m_filename;
    const unsigned long long m_kib;
    const unsigned int m_process = tolvane::forkCount; ///< whose file it is

    std::optional<tolvane::MappedFile> m_mapped;
    std::optional<linering> m_lines;  ///< in the file
    unsigned long long m_triesAt = 0; ///< to open it; milliseconds, of the monotonic clock
    std::string m_bytes;              ///< of a line
    std::atomic<int> m_lastError{0};  ///< read by anybody
};
