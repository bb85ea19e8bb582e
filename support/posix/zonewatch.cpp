#include "support/posix/zonewatch.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <utility>

namespace tolvane {

namespace {

constexpr const char* systemsZone = "/etc/localtime";
constexpr const char* zonesFolder = "/usr/share/zoneinfo";

/// The variable TZ. An unset one differs from an empty one, which stands for UTC.
struct variable
{
    bool isSet = false;
    std::string text;

    bool operator==(const variable& other) const noexcept
    {
        return isSet == other.isSet && text == other.text;
    }
};

variable readVariable()
{
    const char* const text = ::secure_getenv("TZ");
    return text ? variable{true, text} : variable();
}

/// The file of a zone, or where it would be: not every zone has one.
std::string fileOf(const variable& zone)
{
    if (!zone.isSet) {
        return systemsZone;
    }
    std::string name = zone.text.substr(zone.text.compare(0, 1, ":") == 0 ? 1 : 0);
    if (name.compare(0, 1, "/") == 0) {
        return name;
    }
    const char* const folder = ::secure_getenv("TZDIR");
    return std::string(folder && *folder ? folder : zonesFolder) + '/' + name;
}

/// \return empty when it cannot be read.
std::string readFile(const std::string& path)
{
    constexpr std::size_t most = 1 << 20; ///< no zone has as many bytes
    std::string bytes;
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return bytes;
    }
    char part[4096];
    for (ssize_t count = 0; bytes.size() < most && (count = ::read(file, part, sizeof part)) > 0;) {
        bytes.append(part, static_cast<std::size_t>(count));
    }
    ::close(file);
    return bytes;
}

} // namespace

struct ZoneWatch::rules
{
    variable zone;
    std::string path;
    state seen;          ///< of the file, when its rules became known
    bool areOwn = false; ///< the C library does not know them
    ZoneFile own;
};

bool ZoneWatch::state::operator==(const state& other) const noexcept
{
    return isThere == other.isThere && volume == other.volume && number == other.number &&
           size == other.size && changed.tv_sec == other.changed.tv_sec &&
           changed.tv_nsec == other.changed.tv_nsec;
}

ZoneWatch::state ZoneWatch::stateOf(const std::string& path) noexcept
{
    struct stat found;
    if (::stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {true, found.st_dev, found.st_ino, found.st_size, found.st_mtim};
}

ZoneWatch::~ZoneWatch()
{
    delete m_rules;
}

bool ZoneWatch::look(long long second, long& offset) noexcept
{
    if (!m_isTaken.exchange(true, std::memory_order_acquire)) {
        try {
            lookAgain();
            m_offset.store(m_rules->areOwn ? m_rules->own.offset(second) : notOwn,
                           std::memory_order_relaxed);
        } catch (const std::exception&) {
            // no memory: the rules stay as they were until the next look
        }
        m_isTaken.store(false, std::memory_order_release);
    }
    const long known = m_offset.load(std::memory_order_relaxed);
    offset = known != notOwn ? known : m_last.load(std::memory_order_relaxed);
    return known != notOwn || m_isAlone;
}

/// A thread that is gone may have been about to look.
void ZoneWatch::afterFork() noexcept
{
    m_isAlone = true;
    m_isTaken.store(false, std::memory_order_relaxed);
}

/// A file that is gone may be about to come back, and one that is not understood to be written on.
void ZoneWatch::lookAgain()
{
    if (!m_rules || (m_rules->areOwn ? !(readVariable() == m_rules->zone) : m_isAlone)) {
        begin();
        return;
    }
    const state now = stateOf(m_rules->path);
    if (now == m_rules->seen || !now.isThere) {
        return;
    }
    if (!(readVariable() == m_rules->zone) || (!m_rules->zone.isSet && !m_isAlone)) {
        begin();
        return;
    }
    ZoneFile read;
    if (read.parse(readFile(m_rules->path))) {
        m_rules->own = std::move(read);
        m_rules->areOwn = true;
    }
    m_rules->seen = now;
}

/// Has the C library know the rules. A change between the look at the file and that is noticed by
/// the next look.
void ZoneWatch::begin()
{
    rules fresh;
    fresh.zone = readVariable();
    fresh.path = fileOf(fresh.zone);
    fresh.seen = stateOf(fresh.path);
    if (m_isAlone) {
        readOwn(fresh);
    }
    if (!m_rules) {
        m_rules = new rules;
    }
    *m_rules = std::move(fresh);
    if (!m_isAlone) {
        ::tzset();
    }
}

/// As the C library does: a text that names no file is a rule.
void ZoneWatch::readOwn(rules& fresh) const
{
    fresh.areOwn = true;
    if (!fresh.own.parse(readFile(fresh.path)) && !fresh.own.parseRule(fresh.zone.text.c_str())) {
        fresh.own.fix(m_last.load(std::memory_order_relaxed));
    }
}

} // namespace tolvane
