#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/recordertracestream.h>

#include "sinks/passprogress.h"
#include "support/forkcount.h"

#include <list>
#include <memory>

/// The lines that a recorder keeps, and where they go. Used by the holder of the sink lock.
struct recordertracestream::Impl
{
    /// Keeps a line in the place of the oldest one. Throws std::bad_alloc.
    void keep(const formattedline& line)
    {
        forgetOthers();
        while (!m_lines.empty() && m_lines.size() >= m_capacity) {
            m_lines.pop_front();
        }
        if (m_capacity != 0) {
            m_lines.push_back(line);
        }
    }

    /// Hands all lines on. What the sink throws costs one line, and leaves those behind it here.
    void handOn()
    {
        forgetOthers();
        const unsigned int process = m_process;
        while (!m_lines.empty() && tolvane::forkCount == process) { // the sink may fork
            std::list<formattedline> next;
            next.splice(next.begin(), m_lines, m_lines.begin());
            m_sink->log(next.front());
            if (m_progress) {
                m_progress->move();
            }
        }
    }

    /// Lines from before a fork are the parent's.
    void forgetOthers()
    {
        if (m_process != tolvane::forkCount) {
            m_process = tolvane::forkCount;
            m_lines.clear();
        }
    }

    const unsigned long long m_capacity;
    const std::unique_ptr<tracestream> m_sink;
    const unsigned long long m_sinkId;
    const tracelevel_t m_level;

    std::list<formattedline> m_lines;
    unsigned int m_process = tolvane::forkCount;

    /// To be told that a pass gets on while many lines are handed on; null outside of one.
    passprogress* m_progress = nullptr;
};
