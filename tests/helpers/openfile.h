#pragma once

#include <cstddef>
#include <string>

/// A file that somebody else has open for reading, writing and deleting, while allowing others the
/// same. Made when it is missing.
class openfile
{
public:
    explicit openfile(const std::string& path);
    ~openfile();

    openfile(const openfile&) = delete;
    openfile& operator=(const openfile&) = delete;

    bool isOpen() const;

    /// Grows by one for each file or search that stays open in this process. Another thread may
    /// have something open for a moment.
    static std::size_t openNumber();

private:
    void* m_handle;
};
