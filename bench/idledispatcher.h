#pragma once

#include "trace/traceimpl.h"

/// Holds the writer thread back, so that queued lines stay until they are asked for.
struct traceimpltest
{
    static void holdWriter(traceimpl& dispatcher) { dispatcher.m_running = false; }
};

namespace bench {

/// A dispatcher of the benchmark's own, which writes when it is flushed and not before.
class idledispatcher : public traceimpl
{
public:
    idledispatcher() { traceimpltest::holdWriter(*this); }

    /// Queues lines of a short text and a number for a function that every sink takes.
    void queueLines(int count)
    {
        const lockobject lock(m_instanceMutex);
        for (int number = 0; number < count; ++number) {
            tolvane::string text(("loaded item " + std::to_string(number)).c_str());
            queueLine(tl_always, m_function, text);
        }
    }

private:
    const hashedfunction& m_function = registerfunction("void store::index::load()");
};

} // namespace bench
