#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

/// A new, empty folder that is removed with all that is in it. Use it for files with plain ASCII
/// names.
class temporaryfolder
{
public:
    temporaryfolder()
    {
        std::random_device random;
        do {
            m_path = std::filesystem::temp_directory_path() /
                     ("tolvane-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(m_path));
    }

    ~temporaryfolder()
    {
        std::error_code ignored; // a file that somebody still holds must not fail the test
        std::filesystem::remove_all(m_path, ignored);
    }

    temporaryfolder(const temporaryfolder&) = delete;
    temporaryfolder& operator=(const temporaryfolder&) = delete;

    std::filesystem::path path() const { return m_path; }

    /// The path of a file in the folder; nothing is created.
    std::string file(const std::string& name) const { return (m_path / name).string(); }

    /// A file's bytes as they are; empty when there is no such file.
    std::string read(const std::string& name) const
    {
        std::ifstream stream(m_path / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(stream),
                           std::istreambuf_iterator<char>());
    }

    bool has(const std::string& name) const { return std::filesystem::exists(m_path / name); }

    /// How many files and folders are in it.
    std::ptrdiff_t entries() const
    {
        return std::distance(std::filesystem::directory_iterator(m_path),
                             std::filesystem::directory_iterator());
    }

private:
    std::filesystem::path m_path;
};
