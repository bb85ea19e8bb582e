#pragma once

#include "support/mutex.h"
#include "trace/classiclocale.h"
#include "trace/insidelibrary.h"

#include <atomic>
#include <locale>
#include <optional>

/// To be held, for a block, by whoever asks the C++ library for the global locale, or makes a
/// stream, which asks for it.
///
/// While the global locale is the classic one that takes no lock. For any other one the C++ library
/// has a lock, which is not free in a forked process when another thread had it; so a lock of the
/// library's own is held around it then, which who forks takes. Until the first such locale is
/// noticed there is none.
class localeturn
{
public:
    localeturn()
    {
        if (isNeeded()) {
            enter();
        }
    }

    ~localeturn()
    {
        if (m_inside) {
            lock().unlock();
        }
    }

    localeturn(const localeturn&) = delete;
    localeturn& operator=(const localeturn&) = delete;

    /// To be called with a locale that was the global one.
    static void notice(const std::locale& found) noexcept;

    /// Whether a global locale other than the classic one was noticed.
    static bool isNeeded() noexcept { return s_isNeeded.load(std::memory_order_relaxed); }

    static tolvane::Mutex::Impl& lock() noexcept;

private:
    void enter();

    static inline std::atomic<bool> s_isNeeded{false};

    std::optional<insidelibrary> m_inside; ///< while the lock is held
};

std::locale globalLocale();

bool isGlobalLocaleClassicInTurn();

/// Whether the global locale is the one that programs begin with. What every scope's first line
/// asks.
inline bool isGlobalLocaleClassic()
{
    if (localeturn::isNeeded()) {
        return isGlobalLocaleClassicInTurn();
    }
    const std::locale found;
    if (found == classicLocale()) {
        return true;
    }
    localeturn::notice(found);
    return false;
}
