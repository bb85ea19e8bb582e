#pragma once

#include "support/filesystem.h"

#include <map>
#include <set>
#include <string>
#include <vector>

/// Puts a file system in use that keeps its files in memory, for as long as the object lives.
class memoryfiles : public tolvane::FileSystem
{
public:
    memoryfiles() { use(this); }
    ~memoryfiles() override { use(nullptr); }

    memoryfiles(const memoryfiles&) = delete;
    memoryfiles& operator=(const memoryfiles&) = delete;

    bool status(const std::string&, tolvane::FileStatus& status) const override
    {
        ++statusReads;
        if (!statusKnown) {
            return false;
        }
        status = nextStatus;
        return true;
    }

    bool exists(const std::string& path) const override
    {
        ++looks;
        return files.count(path) != 0;
    }

    void remove(const std::string& path) const override
    {
        ++operations;
        if (fixed.count(path) == 0) {
            files.erase(path);
        }
    }

    void rename(const std::string& from, const std::string& to) const override
    {
        ++operations;
        const auto found = files.find(from);
        if (found == files.end() || fixed.count(from) != 0 || files.count(to) != 0) {
            return;
        }
        files[to] = found->second;
        files.erase(from);
    }

    void createEmpty(const std::string& path) const override { files[path] = "empty"; }

    bool numbersBehind(const std::string& path,
                       std::vector<unsigned long long>& numbers) const override
    {
        ++listings;
        for (const auto& file : files) {
            if (file.first.compare(0, path.size() + 1, path + '.') == 0) {
                appendNumber(numbers, file.first);
            }
        }
        return canList;
    }

    bool read(const std::string& path, std::size_t most, std::string& bytes) const override
    {
        ++reads;
        const auto found = files.find(path);
        if (found == files.end() || found->second.size() > most) {
            return false;
        }
        bytes = found->second;
        return true;
    }

    bool statusKnown = true;
    bool canList = true;
    tolvane::FileStatus nextStatus;

    std::set<std::string> fixed;                      ///< cannot be deleted or renamed
    mutable std::map<std::string, std::string> files; ///< what was in them, by path
    mutable int statusReads = 0;
    mutable int listings = 0;
    mutable int reads = 0;
    mutable int looks = 0;      ///< whether there is a file
    mutable int operations = 0; ///< deletions and renames that were tried
};
