#include <tolvane/rotatingfilestracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/rotation.h"
#include "support/clock.h"
#include "support/filesystem.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr unsigned long long fewestFiles = 2; ///< the current one and an older one
constexpr unsigned long long millisecondsPerDay = 86400000;
constexpr int kibibyteShift = 10;

/// Up to this many numbers, trying each is cheaper than listing the folder.
constexpr unsigned long long mostNumbersTried = 64;

/// In a folder that cannot be listed, the numbers behind a longer gap are not looked for.
constexpr unsigned long long longestGap = 64;

std::string numbered(const std::string& path, unsigned long long number)
{
    return path + '.' + std::to_string(number);
}

/// The numbers that have a file, but for those behind a gap, whose files stay where they are.
std::vector<unsigned long long> numbersFound(const std::string& path, unsigned long long oldest)
{
    std::vector<unsigned long long> numbers;
    unsigned long long missing = 0;
    for (unsigned long long number = 0; number <= oldest && missing <= longestGap; ++number) {
        if (tolvane::FileSystem::current().exists(numbered(path, number))) {
            numbers.push_back(number);
            missing = 0;
        } else {
            ++missing;
        }
    }
    return numbers;
}

/// The numbers that may have a file.
std::vector<unsigned long long> existingNumbers(const std::string& path, unsigned long long oldest)
{
    std::vector<unsigned long long> numbers;
    if (oldest > mostNumbersTried) {
        const bool isListed = tolvane::FileSystem::current().numbersBehind(path, numbers);
        return isListed ? numbers : numbersFound(path, oldest);
    }
    for (unsigned long long number = 0; number <= oldest; ++number) {
        numbers.push_back(number);
    }
    return numbers;
}

/// The numbers that a file may move to, or be deleted from, when the files numbered below the
/// oldest move up by one: the greatest first. Where neither the number nor the one before it has a
/// file, there is nothing to do.
std::set<unsigned long long, std::greater<>> numbersToFill(const std::string& path,
                                                           unsigned long long oldest)
{
    std::set<unsigned long long, std::greater<>> numbers;
    for (const unsigned long long number : existingNumbers(path, oldest)) {
        if (number <= oldest && number != 0) {
            numbers.insert(number);
        }
        if (number < oldest) {
            numbers.insert(number + 1);
        }
    }
    return numbers;
}

/// Moves every older file up by one, the oldest out, and the current one to number 0. Files that
/// cannot be deleted or renamed stay where they are.
void shift(const std::string& path, unsigned long long oldest)
{
    const tolvane::FileSystem& files = tolvane::FileSystem::current();
    for (const unsigned long long number : numbersToFill(path, oldest)) {
        files.remove(numbered(path, number));
        files.rename(numbered(path, number - 1), numbered(path, number));
    }
    files.remove(numbered(path, 0));
    files.rename(path, numbered(path, 0));
}

} // namespace

/// When there is nothing to read, it is read again after the next line.
void rotatingfilestracestream::Impl::readStatus(const std::string& path)
{
    tolvane::FileStatus status;
    if (tolvane::FileSystem::current().status(path, status)) {
        m_size = status.size;
        m_started = status.created * 1000;
        tolvane::FileIdentity current;
        if (m_emptiedAt != 0 && tolvane::FileSystem::current().identify(path, current) &&
            current == m_emptied) {
            m_started = std::max(m_started, m_emptiedAt);
        }
    }
}

/// The start may be in UTC while the clock is local, and the clock may have stepped back.
bool rotatingfilestracestream::Impl::limitReached() const
{
    const unsigned long long now = tolvane::Clock::current().localMilliseconds();
    const bool ageCounts = m_maxdays != 0 && now >= m_started;
    return m_size >= m_maxsize << kibibyteShift ||
           (ageCounts && now - m_started >= m_maxdays * millisecondsPerDay);
}

/// A file that could not be moved away is as old as ever, but what is in it is not.
void rotatingfilestracestream::Impl::startNewFile(const std::string& path)
{
    const tolvane::FileSystem& files = tolvane::FileSystem::current();
    tolvane::FileIdentity before;
    const bool isKnown = files.identify(path, before);
    shift(path, std::max(m_files, fewestFiles) - fewestFiles);
    files.createEmpty(path);
    m_size = 0; // so that the next line reads the new file's status
    m_started = tolvane::Clock::current().localMilliseconds();
    const bool isEmptied = isKnown && files.identify(path, m_emptied) && m_emptied == before;
    m_emptiedAt = isEmptied ? m_started : 0;
}

rotatingfilestracestream::rotatingfilestracestream(const tolvane::string& filename,
                                                   unsigned long long files,
                                                   unsigned long long maxsize,
                                                   unsigned long long maxdays, tolvane::lineend end)
    : filetracestream(filename, end), m_rotation(new Impl{files, maxsize, maxdays})
{}

rotatingfilestracestream::rotatingfilestracestream(const rotatingfilestracestream& other)
    : rotatingfilestracestream(other.filename(), other.m_rotation->m_files,
                               other.m_rotation->m_maxsize, other.m_rotation->m_maxdays,
                               other.m_lineEnd)
{
    m_format = other.m_format;
    m_nameIsUtf8 = other.m_nameIsUtf8;
}

rotatingfilestracestream::~rotatingfilestracestream()
{
    delete m_rotation;
}

void rotatingfilestracestream::log(const formattedline& line)
{
    const unsigned long long written = write(line);
    m_rotation->rotate(path(), written, [] {});
}

rotatingfilestracestream* rotatingfilestracestream::clone() const
{
    auto* const cloned = new rotatingfilestracestream(*this);
    cloned->m_kind = sk_rotatingfile;
    return cloned;
}
