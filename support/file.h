#pragma once

#include <tolvane/lineend.h>

#include <string>

namespace tolvane {

/// Lines that lie one behind the other, each with its line end.
struct Lines
{
    const char* text = nullptr; ///< what the places below are counted from
    std::size_t start = 0;      ///< of the first line
    const std::size_t* ends = nullptr;
    std::size_t count = 0;
    lineend end = lineend::crlf; ///< what each ends in

    const char* bytes() const noexcept { return text + start; }
    std::size_t size() const noexcept { return endOf(count) - start; }

    /// Where so many lines end.
    std::size_t endOf(std::size_t lines) const noexcept
    {
        return lines == 0 ? start : ends[lines - 1];
    }
};

/// What became of lines that were to be appended to a file.
struct Appended
{
    std::size_t lines = 0; ///< so many of them, from the first on, are in the file

    /// The file is one that somebody reads from at the other end, who takes nothing. If the caller
    /// could wait, some time has passed.
    bool isStuck = false;

    int error = 0; ///< the platform's, of what failed; see errorText()
};

/// Appends lines to the end of a file with one write, and closes it again. A missing file is made.
/// Others may read, write, rename and delete the file while it is open. Lines that cannot be
/// written, to a full disk for instance, are lost.
///
/// Of the line that fits only in part nothing stays in the file. Where the part cannot be removed,
/// since somebody else has written behind it or files may only grow, the next lines that go to the
/// file begin with a line end, as long as the part is still what the file ends with.
///
/// \param path     as the platform takes it; an empty one names no file.
/// \param mayWait  for somebody who reads from the file at the other end.
Appended appendToFile(const std::string& path, const Lines& lines, bool mayWait) noexcept;

/// Tells files apart, whatever their names. Where the volume is not known, two files of different
/// volumes may look like one.
struct FileIdentity
{
    unsigned long long volume = 0; ///< 0: not known
    unsigned long long number = 0;

    bool operator==(const FileIdentity& other) const noexcept
    {
        return volume == other.volume && number == other.number;
    }
};

/// \return false when there is no such file.
bool identify(const std::string& path, FileIdentity& identity) noexcept;

/// Reads all of a file, which others may have open, or replace meanwhile. Throws std::bad_alloc.
///
/// \param path  as the platform takes it.
/// \param most  bytes.
/// \return false when it cannot be read, has more bytes, or is no regular file: nobody is waited
///         for at the other end of a pipe.
bool readFile(const std::string& path, std::size_t most, std::string& bytes);

} // namespace tolvane
