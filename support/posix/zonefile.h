#pragma once

#include "support/posix/zonerule.h"

#include <string>
#include <vector>

namespace tolvane {

/// A time zone as the system keeps it in a file (the format TZif, RFC 8536).
class ZoneFile
{
public:
    /// Takes a file's bytes. Throws std::bad_alloc.
    /// \return false when they are none of a time zone, or of one that counts leap seconds.
    bool parse(const std::string& bytes);

    /// Takes a rule that holds at all times.
    /// \return false when the text is none.
    bool parseRule(const char* text) noexcept;

    /// Takes an offset that holds at all times.
    void fix(long offset) noexcept;

    /// Seconds by which the zone is ahead of UTC, at a time in seconds since 1970.
    long offset(long long second) const noexcept;

private:
    class reader;
    struct header;

    struct change
    {
        long long second = 0;
        long offset = 0; ///< from then on
    };

    static std::size_t sizeBehindHeader(const header& counts, int timeSize) noexcept;
    bool parseChanges(reader& from, const header& counts, int timeSize);

    long m_first = 0; ///< before all changes
    std::vector<change> m_changes;
    bool m_hasRule = false;
    ZoneRule m_rule; ///< behind all changes
};

} // namespace tolvane
