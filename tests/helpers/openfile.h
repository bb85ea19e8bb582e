#pragma once

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

private:
    void* m_handle;
};
