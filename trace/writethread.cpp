#include "trace/writethread.h"

#include "stacktrace/faulthooks.h"
#include "support/clock.h"

namespace {

/// Milliseconds: short for a reader, long for a processor.
constexpr unsigned int passInterval = 10;

} // namespace

unsigned int traceimpl::WriteThread::run()
{
    faults::prepareThread(); // sinks may use up its stack
    while (m_dispatcher->m_running) {
        tolvane::Clock::current().sleep(passInterval);
        m_dispatcher->writePass();
    }
    m_dispatcher->m_written.impl()->signal(); // whoever waits for the end looks at m_stopped soon
    m_dispatcher->m_stopped = true;           // last: the dispatcher may be destroyed from now on
    return 0;
}
