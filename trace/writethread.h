#pragma once

#include "support/thread.h"
#include "trace/traceimpl.h"

/// Hands the queue to the sinks every 10 ms, while the dispatcher runs. It polls: queuing a line
/// stays cheap.
class traceimpl::WriteThread : public tolvane::Thread
{
public:
    explicit WriteThread(traceimpl& dispatcher) : m_dispatcher(&dispatcher) {}

    unsigned int run() override;

private:
    traceimpl* m_dispatcher;
};
