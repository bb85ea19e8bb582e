#include "support/posix/zonefile.h"

#include <algorithm>

namespace tolvane {

namespace {

/// No zone has as many changes or kinds of time.
constexpr unsigned long long mostEntries = 100000;

constexpr int offsetSize = 4;
constexpr int kindSize = 6; ///< its offset, whether it is daylight saving time, and its name

} // namespace

struct ZoneFile::header
{
    char version = 0;
    unsigned long long utcMarks = 0;
    unsigned long long standardMarks = 0;
    unsigned long long leapSeconds = 0;
    unsigned long long changes = 0;
    unsigned long long kinds = 0;
    unsigned long long characters = 0;
};

/// Bytes.
std::size_t ZoneFile::sizeBehindHeader(const header& counts, int timeSize) noexcept
{
    const auto time = static_cast<unsigned long long>(timeSize);
    return static_cast<std::size_t>(counts.changes * (time + 1) + counts.kinds * kindSize +
                                    counts.characters + counts.leapSeconds * (time + 4) +
                                    counts.standardMarks + counts.utcMarks);
}

/// Reads numbers, the most significant byte first. Behind the end there are zeros only.
class ZoneFile::reader
{
public:
    explicit reader(const std::string& bytes) noexcept : m_bytes(bytes) {}

    bool readHeader(header& read) noexcept
    {
        constexpr char magic[] = {'T', 'Z', 'i', 'f'};
        constexpr std::size_t unused = 15;
        if (!isWithin() || m_bytes.compare(m_at, sizeof magic, magic, sizeof magic) != 0) {
            return false;
        }
        skip(sizeof magic);
        read.version = static_cast<char>(number(1));
        skip(unused);
        for (unsigned long long* const count :
             {&read.utcMarks, &read.standardMarks, &read.leapSeconds, &read.changes, &read.kinds,
              &read.characters}) {
            *count = number(4);
            if (*count > mostEntries) {
                return false;
            }
        }
        return read.kinds != 0;
    }

    unsigned long long number(int size) noexcept
    {
        unsigned long long value = 0;
        for (; size > 0; --size, ++m_at) {
            value = value << 8 |
                    (m_at < m_bytes.size() ? static_cast<unsigned char>(m_bytes[m_at]) : 0U);
        }
        return value;
    }

    long long signedNumber(int size) noexcept
    {
        const int unusedBits = 64 - 8 * size;
        return static_cast<long long>(number(size) << unusedBits) >> unusedBits;
    }

    void skip(std::size_t count) noexcept { m_at += count; }

    std::size_t place() const noexcept { return m_at; }
    bool isWithin() const noexcept { return m_at <= m_bytes.size(); }

    /// A text between two line feeds.
    std::string line() const
    {
        const std::size_t start = m_at + 1;
        const std::size_t end = start < m_bytes.size() ? m_bytes.find('\n', start) : 0;
        const bool isThere = end != 0 && end != std::string::npos && m_bytes[m_at] == '\n';
        return isThere ? m_bytes.substr(start, end - start) : std::string();
    }

private:
    const std::string& m_bytes;
    std::size_t m_at = 0;
};

/// Files of the first version have times of 32 bits; those of later ones have them first, for old
/// programs, and then everything once more with 64 bits, and the rule.
bool ZoneFile::parse(const std::string& bytes)
{
    constexpr int shortTime = 4;
    constexpr int longTime = 8;
    *this = ZoneFile();
    reader from(bytes);
    header counts;
    if (!from.readHeader(counts)) {
        return false;
    }
    if (counts.version == 0) {
        return parseChanges(from, counts, shortTime);
    }
    from.skip(sizeBehindHeader(counts, shortTime));
    if (!from.readHeader(counts) || !parseChanges(from, counts, longTime)) {
        return false;
    }
    const std::string rule = from.line();
    m_hasRule = !rule.empty() && m_rule.parse(rule.c_str());
    return rule.empty() || m_hasRule;
}

bool ZoneFile::parseRule(const char* text) noexcept
{
    *this = ZoneFile();
    m_hasRule = m_rule.parse(text);
    return m_hasRule;
}

void ZoneFile::fix(long offset) noexcept
{
    *this = ZoneFile();
    m_first = offset;
}

bool ZoneFile::parseChanges(reader& from, const header& counts, int timeSize)
{
    const std::size_t end = from.place() + sizeBehindHeader(counts, timeSize);
    std::vector<unsigned long long> kindOf;
    m_changes.resize(static_cast<std::size_t>(counts.changes));
    for (change& each : m_changes) {
        each.second = from.signedNumber(timeSize);
    }
    for (std::size_t i = 0; i < m_changes.size(); ++i) {
        kindOf.push_back(from.number(1));
    }
    std::vector<long> offsets;
    for (unsigned long long i = 0; i < counts.kinds; ++i) {
        offsets.push_back(static_cast<long>(from.signedNumber(offsetSize)));
        from.skip(kindSize - offsetSize);
    }
    for (std::size_t i = 0; i < m_changes.size(); ++i) {
        if (kindOf[i] >= offsets.size()) {
            return false;
        }
        m_changes[i].offset = offsets[static_cast<std::size_t>(kindOf[i])];
    }
    m_first = offsets.front();
    from.skip(end - from.place());
    return from.isWithin() && counts.leapSeconds == 0;
}

long ZoneFile::offset(long long second) const noexcept
{
    const auto next =
        std::upper_bound(m_changes.begin(), m_changes.end(), second,
                         [](long long at, const change& each) { return at < each.second; });
    if (next == m_changes.end() && m_hasRule) {
        return m_rule.offset(second);
    }
    return next == m_changes.begin() ? m_first : (next - 1)->offset;
}

} // namespace tolvane
