#include "sinks/mappedfile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tolvane {

namespace {

constexpr mode_t readAndWriteForAll = 0666; ///< less what the process's umask takes away

int open(const std::string& path) noexcept
{
    int file = -1;
    do {
        file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                      readAndWriteForAll);
    } while (file < 0 && errno == EINTR);
    return file;
}

/// Until the process ends, however it does, or closes the file.
bool lock(int file) noexcept
{
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return ::fcntl(file, F_SETLK, &whole) == 0;
}

} // namespace

MappedFile::MappedFile(const std::string& path, std::size_t size, std::string_view mark) noexcept
    : m_file(open(path)), m_size(size)
{
    m_error = m_file < 0 ? errno : prepare(size, mark);
    if (m_error != 0) {
        return;
    }
    void* const memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(m_file), 0);
    if (memory == MAP_FAILED) {
        m_error = errno;
    } else {
        m_memory = static_cast<unsigned char*>(memory);
    }
}

MappedFile::~MappedFile()
{
    if (m_memory) {
        ::munmap(m_memory, m_size);
    }
    if (m_file >= 0) {
        ::close(static_cast<int>(m_file));
    }
}

/// A write to a page for which there is no room on the disk would be a fault: all have room before.
///
/// \return an error; 0 without one.
int MappedFile::prepare(std::size_t size, std::string_view mark) const noexcept
{
    const int file = static_cast<int>(m_file);
    struct stat found;
    char begin[longestMark];
    if (!lock(file) || ::fstat(file, &found) != 0) {
        return errno;
    }
    if (!S_ISREG(found.st_mode)) {
        return EINVAL;
    }
    const ssize_t read = ::pread(file, begin, sizeof begin, 0);
    if (read < 0) {
        return errno;
    }
    if (!mayTake({begin, static_cast<std::size_t>(read)}, mark)) {
        return EEXIST;
    }
    const bool isNew = found.st_size != static_cast<off_t>(size);
    if (isNew && ::ftruncate(file, 0) != 0) {
        return errno;
    }
    const int error = ::posix_fallocate(file, 0, static_cast<off_t>(size));
    if (error != 0 && isNew && ::ftruncate(file, 0) != 0) {
        return error; // it stays as large as it got
    }
    return error;
}

} // namespace tolvane
