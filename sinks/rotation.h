#pragma once

#include <tolvane/rotatingfilestracestream.h>

#include "support/file.h"

#include <functional>
#include <string>

/// Limits of a rotating sink, and what it knows of its current file.
struct rotatingfilestracestream::Impl
{
    unsigned long long m_files;    ///< kept, the current one included
    unsigned long long m_maxsize;  ///< KiB
    unsigned long long m_maxdays;  ///< 0: no limit
    unsigned long long m_size = 0; ///< estimate of the current file's size; 0: unknown
    unsigned long long m_started =
        0; ///< milliseconds since 1970 of the current file's creation; 0: unknown

    /// The current file, when a rotation could do no more than empty it: it then counts as created
    /// at that time.
    tolvane::FileIdentity m_emptied = {};
    unsigned long long m_emptiedAt = 0; ///< milliseconds since 1970; 0: it was not emptied

    /// Takes account of a line, and starts a new file when the current one has reached a limit.
    /// \param path        of the current file.
    /// \param lineLength  by which the file counts as larger.
    /// \param settle      called before a file is looked at or moved; writes what was held back.
    template <class settle_t>
    void rotate(const std::string& path, unsigned long long lineLength, const settle_t& settle)
    {
        if (sizeIsKnown()) {
            m_size += lineLength;
        } else {
            settle();
            readStatus(path);
        }
        if (sizeIsKnown() && limitReached()) {
            settle();
            startNewFile(path);
        }
    }

private:
    bool sizeIsKnown() const noexcept { return m_size != 0 && m_started != 0; }
    void readStatus(const std::string& path);
    bool limitReached() const;
    void startNewFile(const std::string& path);
};
