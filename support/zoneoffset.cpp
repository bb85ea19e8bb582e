#include "support/zoneoffset.h"

#include "support/coldpath.h"

namespace tolvane {

TOLVANE_COLD long zonememory::askAgain(long long second) noexcept
{
    const long asked = m_ask(second);
    m_known.store(second * (1LL << offsetBits) + asked + bias, std::memory_order_relaxed);
    return asked;
}

} // namespace tolvane
