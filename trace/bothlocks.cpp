#include "trace/bothlocks.h"

#include <optional>

traceimpl::bothlocks::bothlocks(traceimpl& dispatcher) : m_dispatcher(dispatcher)
{
    const sinklock::claim claim(m_dispatcher.m_sinkLock);
    for (;;) {
        takeInstanceLock();
        if (m_dispatcher.m_sinkLock.tryEnter(false)) {
            m_hasSinkLock = true;
            return;
        }
        giveInstanceLockBack();
        m_dispatcher.m_sinkLock.waitForReturn();
    }
}

traceimpl::bothlocks::bothlocks(traceimpl& dispatcher, unsigned long long patience)
    : m_dispatcher(dispatcher)
{
    const sinklock::claim claim(m_dispatcher.m_sinkLock);
    std::optional<tolvane::Auto_TimedMutex> lock;
    m_hasSinkLock = m_dispatcher.enterBoth(lock, patience, patience);
    if (lock->owns()) {
        takeInstanceLock();
    }
}

traceimpl::bothlocks::~bothlocks()
{
    giveInstanceLockBack();
    if (m_hasSinkLock) {
        m_dispatcher.m_sinkLock.leave();
    }
}
