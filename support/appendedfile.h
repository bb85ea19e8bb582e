#pragma once

#include "support/file.h"

#include <cstdint>
#include <string>

namespace tolvane {

/// A place at which a file ended.
struct FileEnd
{
    FileIdentity file;
    unsigned long long size = 0; ///< bytes; 0 where there is no such thing, of a pipe for instance
};

/// A file that is open for appending, and closed by the destructor. Used by one thread.
class AppendedFile
{
public:
    /// Opens the file, or makes it; shared with everybody. It does not wait for anybody to come who
    /// reads at the other end.
    /// \param mayWait  when writing, for somebody who is there.
    explicit AppendedFile(const std::string& path, bool mayWait = true) noexcept;
    ~AppendedFile();

    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    bool isOpen() const noexcept;

    /// Writes to the end of the file, wherever that is.
    /// \return how many of the bytes, from the first on, were written.
    std::size_t write(const char* bytes, std::size_t count) noexcept;

    /// Whether somebody who reads at the other end took too little of the last write.
    bool isStuck() const noexcept { return m_isStuck; }

    /// What the system has refused last; 0: nothing.
    int error() const noexcept { return m_error; }

    /// Removes the last bytes that were written.
    /// \return false when they stay: they are not the end of the file any more, or it cannot be
    ///         cut.
    bool cut(std::size_t count) const noexcept;

    /// Where the file ends now.
    bool end(FileEnd& end) const noexcept;

private:
    std::intptr_t m_file; ///< the platform's
    const bool m_mayWait;
    bool m_isStuck = false;
    int m_error = 0;
};

} // namespace tolvane
