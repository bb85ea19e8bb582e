#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/recordertracestream.h>

#include "sinks/attachedsink.h"
#include "sinks/passprogress.h"

#include <exception>
#include <list>
#include <memory>

/// The lines that a recorder keeps, and where they go. Used by the holder of the sink lock.
struct recordertracestream::Impl
{
    Impl(unsigned long long lines, std::unique_ptr<tracestream> sink, unsigned long long sinkId,
         tracelevel_t level);

    /// Keeps a line in the place of the oldest one. Throws std::bad_alloc.
    /// \return false when none are kept.
    bool keep(const formattedline& line);

    /// Hands all lines on, and that one behind them, as a pass does: what the sink loses is counted
    /// for it, and costs none of the others. Throws std::bad_alloc, with nothing handed on. A
    /// hardware fault of the sink is thrown when all is done, or, where a pass has called, left for
    /// it to take.
    void handOn(const formattedline& last);

    /// The same for what it keeps alone, and what its sink keeps, if that is a recorder, too.
    void handOnAll();

    unsigned long long sinkId() const noexcept { return m_target.begin()->first; }

    const unsigned long long m_capacity;
    const std::unique_ptr<tracestream> m_sink;
    const tracelevel_t m_level;

    /// The sink alone, and what became of the lines that it was handed.
    sinkmap_t m_target;

    /// To be told that a pass gets on while many lines are handed on: the dispatcher's, once a line
    /// has come from there.
    passprogress* m_progress = &m_nobodys;

    std::exception_ptr m_fault; ///< of the sink

private:
    void handOn(const formattedline* last);
    void forgetOthers();

    std::list<formattedline> m_lines;
    unsigned int m_process;
    passprogress m_nobodys;
};
