#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tolvane {

/// A file of a fixed size that lies in memory: what is written there is in the file, also when the
/// process is killed. Used by one thread at a time.
///
/// Nobody else has it at the same time, in this process or in another one. A copy of the process
/// has other memory in its place, whose contents are nothing to go by.
class MappedFile
{
public:
    /// Opens or makes the file, with all of its size on the disk. A file of another size is
    /// emptied.
    ///
    /// \param path  as the platform takes it.
    /// \param mark  what the file begins with, or will. A file that begins with something else, and
    ///              not with so many zeros either, is somebody's, and left as it is.
    MappedFile(const std::string& path, std::size_t size, std::string_view mark) noexcept;
    ~MappedFile();

    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    /// Null when it cannot be had.
    unsigned char* memory() const noexcept { return m_memory; }

    /// Why; see errorText().
    int error() const noexcept { return m_error; }

private:
    friend void leaveMappedFiles() noexcept;

    /// Bytes of a file's begin that are looked at.
    static constexpr std::size_t longestMark = 64;

    /// Whether the file with this begin may be taken: it has the mark, or no more of it than was
    /// written when a process was killed amid that.
    static bool mayTake(std::string_view begin, std::string_view mark) noexcept
    {
        const std::string_view found = begin.substr(0, mark.size());
        const bool isWritten =
            std::equal(found.begin(), found.end(), mark.begin(), mark.end(),
                       [](char each, char whole) { return each == whole || each == '\0'; });
        return isWritten || found.find_first_not_of('\0') == std::string_view::npos;
    }

    int prepare(std::size_t size, std::string_view mark) const noexcept;
    void map() noexcept;

    std::intptr_t m_file = -1; ///< the platform's
    unsigned char* m_memory = nullptr;
    std::size_t m_size;
    int m_error = 0;
    MappedFile* m_next = nullptr; ///< in a list of those that a fork copies
};

} // namespace tolvane
