#pragma once

#include "sinks/attachedsink.h"
#include "sinks/passprogress.h"
#include "sinks/passwriter.h"
#include "tests/helpers/formattedlinetest.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The lines of a pass.
class linebatch
{
public:
    void add(tracelevel_t level, const hashedfunction& function, const wchar_t* body)
    {
        m_lines.emplace_back(new formattedline(formattedlinetest::text(level, function, body)));
    }

    formattedline& operator[](std::size_t line) const { return *m_lines[line]; }
    std::size_t size() const { return m_lines.size(); }
    const passwriter::batch_t& lines() const { return m_lines; }

private:
    passwriter::batch_t m_lines;
};

/// Sinks as the dispatcher has them attached: clones, here in the order in which they are added.
class sinkset
{
public:
    /// \return the clone.
    template <class sink_t, class... arguments_t>
    sink_t& add(tracelevel_t level, arguments_t&&... arguments)
    {
        const sink_t sink(std::forward<arguments_t>(arguments)...);
        m_owned.emplace_back(sink.clone());
        auto& attached = static_cast<sink_t&>(*m_owned.back());
        attached.setLevel(level);
        m_sinks[m_owned.size()].sink = &attached;
        return attached;
    }

    sinkmap_t& sinks() { return m_sinks; }

    /// The one that was added as number n, from 1 on.
    attachedsink& attached(unsigned long long number) { return m_sinks.at(number); }
    sinkcounts& counts(unsigned long long number) { return attached(number).counts; }
    passprogress& progress() { return m_progress; }

    void write(const linebatch& batch)
    {
        passwriter pass(m_sinks, m_progress);
        pass.write(batch.lines());
    }

private:
    std::vector<std::unique_ptr<tracestream>> m_owned;
    sinkmap_t m_sinks;
    passprogress m_progress;
};
