#include "support/mutex.h"

#include "support/clock.h"

namespace tolvane {

bool Mutex::Impl::timedLock(unsigned long long timeout)
{
    if (m_section.tryEnter()) {
        return true;
    }
    const Clock& clock = Clock::current();
    const unsigned long long start = clock.ticks();
    unsigned long long now;
    do {
        if (m_section.tryEnter()) {
            return true;
        }
        now = clock.ticks();
        clock.sleep(1); // the last pass sleeps too, which gives the holder a chance before the next
                        // caller tries
    } while (now < start + timeout);
    return false;
}

} // namespace tolvane
