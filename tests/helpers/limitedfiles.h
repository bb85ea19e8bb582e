#pragma once

#include "support/appendlines.h"
#include "tests/helpers/memoryfiles.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>

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

    void remove(const std::string& path) const override
    {
        const bool wasThere = files.count(path) != 0;
        memoryfiles::remove(path);
        replaced[path] += wasThere && files.count(path) == 0 ? 1U : 0U;
    }

    void rename(const std::string& from, const std::string& to) const override
    {
        const bool wasThere = files.count(from) != 0;
        memoryfiles::rename(from, to);
        replaced[from] += wasThere && files.count(from) == 0 ? 1U : 0U;
    }

    void createEmpty(const std::string& path) const override { files[path].clear(); }

    tolvane::Appended append(const std::string& path, const tolvane::Lines& lines,
                             bool mayWait) const noexcept override
    {
        ++appends;
        if (onAppend) {
            onAppend();
        }
        if (refusals[path] > 0) {
            --refusals[path];
            return {};
        }
        memoryfile file{files[path], identityOf(path),
                        limits.count(path) ? limits.at(path) : ~std::size_t{0}, canBeCut,
                        pipes.count(path) != 0};
        const tolvane::Appended appended =
            tolvane::appendLines(file, lines, tornEnds[path.substr(0, path.find('/'))]);
        lastWasWhole = appended.lines == lines.count;
        waits += mayWait && appended.isStuck ? 1 : 0;
        return appended;
    }

    bool identify(const std::string& path, tolvane::FileIdentity& identity) const noexcept override
    {
        const bool isThere = files.count(path) != 0;
        identity = isThere ? identityOf(path) : identity;
        return isThere;
    }

    std::map<std::string, std::size_t> limits; ///< bytes that fit into a file
    std::function<void()> onAppend;
    mutable std::map<std::string, int> refusals; ///< how often it cannot be opened, by path
    mutable std::map<std::string, unsigned int> replaced; ///< how often by another file, by path
    std::set<std::string> pipes;       ///< of which somebody reads, up to their limit
    bool canBeCut = true;              ///< what was written can be removed again
    mutable int appends = 0;           ///< that were tried
    mutable int waits = 0;             ///< in vain, for who reads from a pipe
    mutable bool lastWasWhole = false; ///< the last lines for a file that was opened

private:
    /// An open file.
    struct memoryfile
    {
        std::string& bytes;
        tolvane::FileIdentity identity;
        std::size_t limit;
        bool canBeCut;
        bool isPipe;
        bool isFull = false;

        bool isOpen() const { return true; }
        bool isStuck() const { return isPipe && isFull; }
        int error() const { return isFull ? 5 : 0; } // any will do

        std::size_t write(const char* from, std::size_t count)
        {
            const std::size_t written = std::min(limit - std::min(limit, bytes.size()), count);
            bytes.append(from, written);
            isFull = written != count;
            return written;
        }

        bool cut(std::size_t count)
        {
            bytes.resize(bytes.size() - (canBeCut ? count : 0));
            return canBeCut;
        }

        bool end(tolvane::FileEnd& end) const
        {
            end.file = identity;
            end.size = bytes.size();
            return true;
        }
    };

    /// Whatever comes to have a name is another file than what had it before.
    tolvane::FileIdentity identityOf(const std::string& path) const
    {
        const auto number = numbers.emplace(path, numbers.size()).first->second;
        return {replaced[path], number};
    }

    mutable std::map<std::string, std::size_t> numbers; ///< of the paths, as they came
    mutable std::map<std::string, tolvane::TornEnds>
        tornEnds; ///< by folder: none makes another forget
};
