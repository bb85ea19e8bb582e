#pragma once

#include <tolvane/trace.h>

#include "tests/helpers/traceimpltest.h"
#include "tests/soak/counts.h"
#include "tests/soak/orderedsink.h"
#include "tests/soak/verdict.h"

#include <random>
#include <string>

/// Lets a sink come, checks its counts against those of one that stays, and lets it go.
class passingsink
{
public:
    passingsink(unsigned long long id, std::minstd_rand& random)
        : m_sink(id, random() % 2 == 0 ? 400 : 0, random() % 2 == 0 ? 100 : 0), m_id(id)
    {}

    void come(unsigned long long permanentId)
    {
        traceimpltest::withBothLocks([&] {
            trace::output(m_sink).setLevel(tl_info);
            m_before = soakcounts::of(permanentId).total();
        });
    }

    void checkCounts(unsigned long long permanentId) const
    {
        traceimpltest::withBothLocks([&] {
            const soakcounts mine = soakcounts::of(m_id);
            const unsigned long long its = soakcounts::of(permanentId).total() - m_before;
            verdict::check(mine.total() == its,
                           "a sink was offered " + std::to_string(mine.total()) +
                               " lines while another one was offered " + std::to_string(its));
            verdict::check(mine.written == m_sink.found().order.lines(),
                           "a sink got other lines than were counted");
            verdict::check(traceimpltest::countsNow(m_id).lost[trace::destination] ==
                               m_sink.found().thrown,
                           "a sink threw at other lines than were counted");
        });
    }

    void go() const
    {
        trace::remove(m_sink);
        const std::string complaint = m_sink.found().order.complaint();
        verdict::check(complaint.empty(), "a sink that came and went got " + complaint);
    }

private:
    orderedsink m_sink;
    const unsigned long long m_id;
    unsigned long long m_before = 0;
};
