#include "support/filesystem.h"

#include <atomic>
#include <cstdlib>

namespace tolvane {

namespace {

std::atomic<const FileSystem*> replacement{nullptr};

/// Made when the library is loaded: a thread that the process's end or a fork stops amid the making
/// would leave others waiting for ever.
[[maybe_unused]] const FileSystem& early = FileSystem::platform();

} // namespace

Appended FileSystem::append(const std::string& path, const Lines& lines,
                            bool mayWait) const noexcept
{
    return appendToFile(path, lines, mayWait);
}

bool FileSystem::identify(const std::string& path, FileIdentity& identity) const noexcept
{
    return tolvane::identify(path, identity);
}

bool FileSystem::read(const std::string& path, std::size_t most, std::string& bytes) const
{
    return readFile(path, most, bytes);
}

const FileSystem& FileSystem::current() noexcept
{
    const FileSystem* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : platform();
}

void FileSystem::use(const FileSystem* fileSystem) noexcept
{
    replacement.store(fileSystem, std::memory_order_release);
}

/// A number that reads differently when it is written again has leading zeros, or too many digits,
/// or other characters.
void FileSystem::appendNumber(std::vector<unsigned long long>& numbers, const std::string& filename)
{
    const std::string suffix = filename.substr(filename.rfind('.') + 1);
    const unsigned long long number = std::strtoull(suffix.c_str(), nullptr, 10);
    if (std::to_string(number) == suffix) {
        numbers.push_back(number);
    }
}

} // namespace tolvane
