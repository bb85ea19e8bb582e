#pragma once

#include "support/nocancellation.h"
#include "trace/insidelibrary.h"
#include "trace/traceimpl.h"

#include <utility>

/// Holds the instance lock and the sink lock, for what changes the sinks. The sink lock is waited
/// for while the instance lock is free. The thread is not cancelled meanwhile.
class traceimpl::bothlocks
{
public:
    /// Waits as long as a sink takes.
    explicit bothlocks(traceimpl& dispatcher);

    /// Waits so many milliseconds, see areHeld().
    bothlocks(traceimpl& dispatcher, unsigned long long patience);

    ~bothlocks();

    bothlocks(const bothlocks&) = delete;
    bothlocks& operator=(const bothlocks&) = delete;

    bool areHeld() const noexcept { return m_hasInstanceLock && m_hasSinkLock; }

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
    const insidelibrary m_inside;
    traceimpl& m_dispatcher;
    bool m_hasInstanceLock = false;
    bool m_hasSinkLock = false;
};
