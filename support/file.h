#pragma once

#include <string>

namespace tolvane {

/// What became of bytes that were to be appended to a file.
struct Appended
{
    bool isOpened = false;
    std::size_t count = 0; ///< so many of the bytes, from the first on, are in the file
};

/// Appends bytes to the end of a file with one write, and closes it again. A missing file is made.
/// Others may read, write, rename and delete the file while it is open. Bytes that cannot be
/// written, to a full disk for instance, are lost.
///
/// \param path  as the platform takes it; an empty one names no file.
Appended appendToFile(const std::string& path, const char* bytes, std::size_t count) noexcept;

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

} // namespace tolvane
