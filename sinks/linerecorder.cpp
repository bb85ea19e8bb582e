#include "sinks/linerecorder.h"

#include "sinks/passwriter.h"
#include "support/forkcount.h"

#include <utility>

recordertracestream::Impl::Impl(unsigned long long lines, std::unique_ptr<tracestream> sink,
                                unsigned long long sinkId, tracelevel_t level)
    : m_capacity(lines), m_sink(std::move(sink)), m_level(level), m_process(tolvane::forkCount)
{
    attachedsink& target = m_target[sinkId];
    target.id = sinkId;
    target.sink = m_sink.get();
}

bool recordertracestream::Impl::keep(const formattedline& line)
{
    forgetOthers();
    while (!m_lines.empty() && m_lines.size() >= m_capacity) {
        m_lines.pop_front();
    }
    if (m_capacity != 0) {
        m_lines.push_back(line);
    }
    return m_capacity != 0;
}

void recordertracestream::Impl::handOn(const formattedline& last)
{
    handOn(&last);
}

void recordertracestream::Impl::handOnAll()
{
    handOn(nullptr);
}

void recordertracestream::Impl::handOn(const formattedline* last)
{
    forgetOthers();
    passwriter writer(m_target, *m_progress);
    writer.write(m_lines, last);
    if (!last) {
        writer.dump();
    }
    m_fault = writer.fault();
    if (m_fault && m_progress == &m_nobodys) {
        std::rethrow_exception(std::exchange(m_fault, nullptr));
    }
}

/// Lines from before a fork are the parent's.
void recordertracestream::Impl::forgetOthers()
{
    if (m_process != tolvane::forkCount) {
        m_process = tolvane::forkCount;
        m_lines.clear();
    }
}
