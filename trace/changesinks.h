#pragma once

#include "trace/bothlocks.h"
#include "trace/traceimpl.h"

#include <exception>

/// Writes what waits, and changes the sinks then; what was detached is destroyed. Within a sink's
/// own call nothing is written.
///
/// \param locks   held; the instance lock is given back.
/// \param change  called with both locks held.
/// \return the hardware fault of a sink.
template <class change_t>
std::exception_ptr traceimpl::changeSinks(bothlocks& locks, const change_t& change)
{
    std::exception_ptr fault;
    packedlines batch;
    if (m_inPass == 0) {
        batch = takeAll();
        m_inPass = m_batches;
        locks.giveInstanceLockBack();
        fault = writeBatch(batch);
        m_inPass = 0;
        locks.takeInstanceLock();
    }
    change();
    locks.giveInstanceLockBack();
    destroyDetached();
    keep(batch);
    return fault;
}
