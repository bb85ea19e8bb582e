#include "support/filesystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

struct foldercloser
{
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

class PosixFileSystem : public FileSystem
{
public:
    /// Not every file system keeps the time of a file's birth; the last change of its status is the
    /// next best.
    bool status(const std::string& path, FileStatus& status) const override
    {
        struct statx found;
        if (::statx(AT_FDCWD, path.c_str(), 0, STATX_TYPE | STATX_SIZE | STATX_CTIME | STATX_BTIME,
                    &found) != 0) {
            return false;
        }
        const bool birthKnown = (found.stx_mask & STATX_BTIME) != 0;
        status.size = S_ISDIR(found.stx_mode) ? 0 : found.stx_size;
        status.created = static_cast<unsigned long long>(birthKnown ? found.stx_btime.tv_sec
                                                                    : found.stx_ctime.tv_sec);
        return true;
    }

    bool exists(const std::string& path) const override
    {
        struct stat found;
        return ::lstat(path.c_str(), &found) == 0;
    }

    void remove(const std::string& path) const override { ::unlink(path.c_str()); }

    /// The system would replace a file that has the name already, or an empty folder.
    void rename(const std::string& from, const std::string& to) const override
    {
        if (!exists(to)) {
            std::rename(from.c_str(), to.c_str());
        }
    }

    /// What has come into the file's place meanwhile is not waited for.
    void createEmpty(const std::string& path) const override
    {
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK,
                                readAndWriteForAll);
        if (file >= 0) {
            ::close(file);
        }
    }

    /// Letter case is not looked at, since the file system may not do so either.
    bool numbersBehind(const std::string& path,
                       std::vector<unsigned long long>& numbers) const override
    {
        const std::size_t slash = path.rfind('/');
        const std::string folderPath = slash == std::string::npos ? "." : path.substr(0, slash + 1);
        const std::string prefix = path.substr(slash == std::string::npos ? 0 : slash + 1) + '.';
        const std::unique_ptr<DIR, foldercloser> folder(::opendir(folderPath.c_str()));
        if (!folder) {
            return false;
        }
        errno = 0;
        while (const dirent* const entry = ::readdir(folder.get())) {
            if (::strncasecmp(entry->d_name, prefix.c_str(), prefix.size()) == 0) {
                appendNumber(numbers, entry->d_name);
            }
            errno = 0; // only so does the end differ from a failure
        }
        return errno == 0;
    }
};

} // namespace

/// Never destroyed: lines are written until the very end of the process.
const FileSystem& FileSystem::platform() noexcept
{
    static const FileSystem* const fileSystem = new PosixFileSystem;
    return *fileSystem;
}

} // namespace tolvane
