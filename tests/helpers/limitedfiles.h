#pragma once

#include "tests/helpers/memoryfiles.h"

#include <algorithm>
#include <cstdint>

/// A file system in memory whose files may be closed to those who open them, and may be full.
class limitedfiles : public memoryfiles
{
public:
    bool status(const std::string& path, tolvane::FileStatus& status) const override
    {
        const auto found = files.find(path);
        if (found == files.end()) {
            return false;
        }
        status.size = found->second.size();
        status.created = 1;
        return true;
    }

    void createEmpty(const std::string& path) const override { files[path].clear(); }

    tolvane::Appended append(const std::string& path, const char* bytes,
                             std::size_t count) const noexcept override
    {
        ++appends;
        if (refusals[path] > 0) {
            --refusals[path];
            return {};
        }
        std::string& file = files[path];
        const auto limit = limits.find(path);
        const std::size_t room = limit == limits.end()         ? count
                                 : limit->second < file.size() ? 0
                                                               : limit->second - file.size();
        const std::size_t written = std::min(room, count);
        file.append(bytes, written);
        lastWasWhole = written == count;
        return {true, written};
    }

    bool identify(const std::string& path, tolvane::FileIdentity& identity) const noexcept override
    {
        const auto found = files.find(path);
        if (found == files.end()) {
            return false;
        }
        identity.number = reinterpret_cast<std::uintptr_t>(&*found);
        return true;
    }

    std::map<std::string, std::size_t> limits;   ///< bytes that fit into a file
    mutable std::map<std::string, int> refusals; ///< how often it cannot be opened, by path
    mutable int appends = 0;                     ///< that were tried
    mutable bool lastWasWhole = false;           ///< the last bytes of a file that was opened
};
