#pragma once

#include "support/nocancellation.h"
#include "trace/traceimpl.h"

#include <utility>

/// Holds the instance lock and the sink lock, for what changes the sinks. The sink lock is waited
/// for while the instance lock is free. The thread is not cancelled meanwhile.
class traceimpl::bothlocks
{
public:
    explicit bothlocks(traceimpl& dispatcher) : m_dispatcher(dispatcher)
    {
        const sinklock::claim claim(m_dispatcher.m_sinkLock);
        for (;;) {
            takeInstanceLock();
            if (m_dispatcher.m_sinkLock.tryEnter(false)) {
                return;
            }
            giveInstanceLockBack();
            m_dispatcher.m_sinkLock.waitForReturn();
        }
    }

    ~bothlocks()
    {
        giveInstanceLockBack();
        m_dispatcher.m_sinkLock.leave();
    }

    bothlocks(const bothlocks&) = delete;
    bothlocks& operator=(const bothlocks&) = delete;

    void takeInstanceLock()
    {
        m_dispatcher.m_instanceMutex.impl()->lock(); // the dispatcher's mutex is never destroyed
        m_hasInstanceLock = true;
    }

    void giveInstanceLockBack()
    {
        if (std::exchange(m_hasInstanceLock, false)) {
            m_dispatcher.m_instanceMutex.impl()->unlock();
        }
    }

private:
    const tolvane::NoCancellation m_noCancellation;
    traceimpl& m_dispatcher;
    bool m_hasInstanceLock = false;
};
