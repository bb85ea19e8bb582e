#pragma once

#include "support/file.h"

#include <string>
#include <vector>

namespace tolvane {

struct FileStatus
{
    unsigned long long size = 0;    ///< bytes
    unsigned long long created = 0; ///< seconds since 1970, UTC
};

/// Files as the library handles whole ones; tests put a file system of their own in its place.
///
/// Paths are as the platform takes them; an empty one names no file. All members may be called from
/// any thread.
class FileSystem
{
public:
    virtual ~FileSystem() = default;

    /// \return false, with the status untouched, when there is no such file or it tells nothing. A
    ///         folder has no size.
    virtual bool status(const std::string& path, FileStatus& status) const = 0;

    /// Whether something has this name, be it no more than a link to nowhere.
    virtual bool exists(const std::string& path) const = 0;

    /// A file that cannot be deleted stays, and so does a folder.
    virtual void remove(const std::string& path) const = 0;

    /// A file that cannot be renamed keeps its name, and so does one whose new name is taken.
    virtual void rename(const std::string& from, const std::string& to) const = 0;

    /// Makes the file, or empties it, and marks it as created now where the platform can. Others
    /// may have it open.
    virtual void createEmpty(const std::string& path) const = 0;

    /// Finds the files that are named as the path followed by a point and a decimal number.
    /// \param numbers  receives the numbers, in any order; some may have no file.
    /// \return false when the folder cannot be listed, or not to its end.
    virtual bool numbersBehind(const std::string& path,
                               std::vector<unsigned long long>& numbers) const = 0;

    /// As appendToFile, which the platform's file systems leave it to.
    virtual Appended append(const std::string& path, const Lines& lines,
                            bool mayWait) const noexcept;

    /// As tolvane::identify.
    virtual bool identify(const std::string& path, FileIdentity& identity) const noexcept;

    /// As readFile.
    virtual bool read(const std::string& path, std::size_t most, std::string& bytes) const;

    /// The file system in use.
    static const FileSystem& current() noexcept;

    /// Puts another one in use; it must live as long as any thread of the library. Null: the
    /// platform's.
    static void use(const FileSystem* fileSystem) noexcept;

    /// The platform's file system.
    static const FileSystem& platform() noexcept;

protected:
    /// Appends the number that a file name has behind its last point, if it has one without leading
    /// zeros.
    static void appendNumber(std::vector<unsigned long long>& numbers, const std::string& filename);
};

} // namespace tolvane
