#include "trace/globallocale.h"

#include "support/coldpath.h"
#include "support/permanent.h"

void localeturn::notice(const std::locale& found) noexcept
{
    if (!(found == classicLocale())) {
        s_isNeeded.store(true, std::memory_order_relaxed);
    }
}

tolvane::Mutex::Impl& localeturn::lock() noexcept
{
    return tolvane::permanent<tolvane::Mutex::Impl, localeturn>();
}

namespace {

// Made when the library is loaded: a thread that the process's end or a fork stops amid the making
// would leave others waiting for ever.
[[maybe_unused]] const std::locale& earlyLocale = classicLocale();
[[maybe_unused]] const tolvane::Mutex::Impl& earlyLock = localeturn::lock();

} // namespace

/// Who interrupts the library may have interrupted this, and whoever writes has the sink lock,
/// which is taken at forks, too.
TOLVANE_COLD void localeturn::enter()
{
    if (!insidelibrary::isEntered()) {
        m_inside.emplace();
        lock().lock();
    }
}

std::locale globalLocale()
{
    const localeturn turn;
    std::locale found;
    localeturn::notice(found);
    return found;
}

TOLVANE_COLD bool isGlobalLocaleClassicInTurn()
{
    if (insidelibrary::isEntered()) {
        return true; // the line is lost, and the C++ library's lock may be this thread's own
    }
    const localeturn turn;
    return std::locale() == classicLocale();
}
