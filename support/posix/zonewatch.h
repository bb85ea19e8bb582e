#pragma once

#include "support/posix/zonefile.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <limits>
#include <string>

namespace tolvane {

/// Notices that the rules of the process's time zone have changed: that the file in which the
/// system keeps them was replaced.
///
/// The C library reads that file again only when the variable TZ is not set and tzset() is called,
/// so that is what is done then. Where TZ names the file, the watch reads it itself from the first
/// change on. The variable is looked at when the file has changed and, while the watch has rules of
/// its own, with each look; not otherwise, since nobody may read a variable while another thread
/// sets one. A zone that the program itself sets it makes known by tzset(), as ever.
///
/// In a forked process the C library is not asked: its lock of the rules is not free there when
/// another thread had it. From then on the watch reads the zone's rules itself, from the file or
/// from the variable; where it finds none, the last known offset stays.
///
/// Any thread may use it, and none waits: one that comes while another one looks gets what was
/// found before.
class ZoneWatch
{
public:
    constexpr ZoneWatch() noexcept = default;
    ~ZoneWatch();

    ZoneWatch(const ZoneWatch&) = delete;
    ZoneWatch& operator=(const ZoneWatch&) = delete;

    /// Looks at the file; to be called once a second.
    /// \return false when the C library knows the offset.
    bool look(long long second, long& offset) noexcept;

    /// To be called with what the C library has answered.
    void remember(long offset) noexcept { m_last.store(offset, std::memory_order_relaxed); }

    /// The process is a copy that a fork has made, with this thread alone.
    void afterFork() noexcept;

private:
    /// What changes when a file does, or when a link leads to another one.
    struct state
    {
        bool isThere = false;
        dev_t volume = 0;
        ino_t number = 0;
        off_t size = 0;
        timespec changed = {};

        bool operator==(const state& other) const noexcept;
    };

    struct rules;

    static state stateOf(const std::string& path) noexcept;
    void lookAgain();
    void begin();
    void readOwn(rules& fresh) const;

    static constexpr long notOwn = std::numeric_limits<long>::min();

    std::atomic<bool> m_isTaken{false}; ///< by the one that looks
    std::atomic<long> m_offset{notOwn}; ///< that was found last; notOwn: the C library knows it
    std::atomic<long> m_last{0};        ///< of the C library's answers; UTC before them
    bool m_isAlone = false;             ///< the C library is not to be asked
    rules* m_rules = nullptr;           ///< owned; made at the first look
};

} // namespace tolvane
