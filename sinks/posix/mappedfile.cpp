#include "sinks/mappedfile.h"

#include "sinks/posix/mappedfiles.h"
#include "support/permanent.h"

#include <fcntl.h>
#include <sys/file.h>
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

/// Makes what is mapped memory of this process alone, at the same place: a signal's handler may
/// have forked amid a write there. It holds the file as a descriptor does.
void unshare(void* memory, std::size_t size) noexcept
{
    static_cast<void>(::mmap(memory, size, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0));
}

using filelock = Auto_Lock<Mutex::Impl>;

/// Those that exist, changed by whoever holds the lock.
MappedFile* newest = nullptr;

} // namespace

Mutex::Impl& mappedFilesLock() noexcept
{
    return permanent<Mutex::Impl, MappedFile>();
}

void leaveMappedFiles() noexcept
{
    for (MappedFile* each = newest; each; each = each->m_next) {
        if (each->m_memory) {
            unshare(each->m_memory, each->m_size);
        }
        if (each->m_file >= 0) {
            ::close(static_cast<int>(each->m_file));
            each->m_file = -1;
        }
    }
    mappedFilesLock().adopt();
    mappedFilesLock().unlock();
}

MappedFile::MappedFile(const std::string& path, std::size_t size, std::string_view mark) noexcept
    : m_size(size)
{
    {
        const filelock lock(&mappedFilesLock());
        m_file = open(path);
        m_error = m_file < 0 ? errno : 0;
        m_next = newest;
        newest = this;
    }
    if (m_error == 0) {
        m_error = prepare(size, mark);
    }
    if (m_error == 0) {
        map();
    }
}

void MappedFile::map() noexcept
{
    const filelock lock(&mappedFilesLock());
    void* const memory =
        ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(m_file), 0);
    if (memory == MAP_FAILED) {
        m_error = errno;
    } else {
        m_memory = static_cast<unsigned char*>(memory);
    }
}

MappedFile::~MappedFile()
{
    const filelock lock(&mappedFilesLock());
    MappedFile** place = &newest;
    while (*place != this) {
        place = &(*place)->m_next;
    }
    *place = m_next;
    if (m_memory) {
        ::munmap(m_memory, m_size);
    }
    if (m_file >= 0) {
        ::close(static_cast<int>(m_file));
    }
}

/// A write to a page for which there is no room on the disk would be a fault: all have room before.
/// The file is locked by this one opening of it, whoever else opens and closes it in this process,
/// and until the last copy of the descriptor and of the memory is gone.
///
/// \return an error; 0 without one.
int MappedFile::prepare(std::size_t size, std::string_view mark) const noexcept
{
    const int file = static_cast<int>(m_file);
    struct stat found;
    char begin[longestMark];
    if (::flock(file, LOCK_EX | LOCK_NB) != 0 || ::fstat(file, &found) != 0) {
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
