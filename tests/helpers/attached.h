#pragma once

#include <tolvane/trace.h>
#include <tolvane/tracestream.h>

/// Attaches a sink for as long as it lives, so that tests that share the dispatcher leave nothing
/// behind. The sink itself must live as long.
class attached
{
public:
    explicit attached(const tracestream& sink) : m_sink(sink), m_stored(trace::output(sink)) {}

    attached(const tracestream& sink, tracelevel_t level) : attached(sink)
    {
        m_stored.setLevel(level);
    }

    ~attached() { trace::remove(m_sink); }

    attached(const attached&) = delete;
    attached& operator=(const attached&) = delete;

    tracestream& stored() const { return m_stored; }

private:
    const tracestream& m_sink;
    tracestream& m_stored;
};
