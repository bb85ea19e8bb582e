#include <tolvane/recordertracestream.h>

#include "sinks/linerecorder.h"
#include "support/callerserror.h"
#include "trace/traceimpl.h"

#include <new>

namespace {

/// "recorder" in ASCII: tells a recorder from its sink, and a recorder of a recorder from both.
constexpr unsigned long long recorderMark = 0x7265636F72646572;

std::unique_ptr<tracestream> cloneOf(const tracestream& sink)
{
    std::unique_ptr<tracestream> cloned(sink.clone());
    if (!cloned) {
        throw std::bad_alloc();
    }
    return cloned;
}

} // namespace

recordertracestream::recordertracestream(unsigned long long lines, const tracestream& sink,
                                         tracelevel_t level)
    : m_recorder(new Impl(lines, cloneOf(sink), sink.id(), level))
{
    m_kind = sk_recorder;
}

recordertracestream::recordertracestream(const recordertracestream& other)
    : tracestream(other),
      m_recorder(new Impl(other.m_recorder->m_capacity, cloneOf(*other.m_recorder->m_sink),
                          other.m_recorder->sinkId(), other.m_recorder->m_level))
{
    m_kind = sk_recorder;
}

recordertracestream::~recordertracestream()
{
    delete m_recorder;
}

void recordertracestream::log(const formattedline& line)
{
    if (line.level() > m_recorder->m_level) {
        m_recorder->keep(line);
        return;
    }
    try {
        m_recorder->handOn(line);
    } catch (const std::bad_alloc&) {
        if (!m_recorder->keep(line)) {
            throw;
        }
    }
}

unsigned long long recordertracestream::id() const
{
    return m_recorder->sinkId() + recorderMark;
}

recordertracestream* recordertracestream::clone() const
{
    return new recordertracestream(m_recorder->m_capacity, *m_recorder->m_sink,
                                   m_recorder->m_level);
}

void recordertracestream::dump() // NOLINT(readability-make-member-function-const)
{
    const tolvane::CallersError callersError;
    safesingleton<traceimpl>::instance().dump(*this);
}
