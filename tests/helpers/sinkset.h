#pragma once

#include "sinks/attachedsink.h"
#include "sinks/passprogress.h"
#include "sinks/passwriter.h"
#include "tests/helpers/formattedlinetest.h"

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The lines of a pass, and the records that sinks are to get.
class linebatch
{
public:
    void add(tracelevel_t level, const hashedfunction& function, const wchar_t* body)
    {
        m_records.push_back(formattedlinetest::text(level, function, body));
        pack(m_records.back());
    }

    void add(const formattedline& line)
    {
        m_records.push_back(line);
        pack(m_records.back());
    }

    /// For others in the same memory.
    void clear()
    {
        m_records.clear();
        m_lines.clear();
    }

    const formattedline& operator[](std::size_t line) const { return m_records[line]; }
    std::size_t size() const { return m_records.size(); }
    const packedlines& lines() const { return m_lines; }

private:
    void pack(formattedline& record)
    {
        const tolvane::string& text = formattedlinetest::body(record);
        const std::size_t bytes = static_cast<std::size_t>(text.length()) * sizeof(wchar_t);
        const bool isLong = bytes > packedline::longestPayload;
        queuedline& line = m_lines.prepare(isLong ? sizeof(tolvane::string*) : bytes);
        line.size = static_cast<unsigned short>(isLong ? sizeof(tolvane::string*) : bytes);
        line.form = isLong ? packedline::textblock : packedline::characters;
        line.type = formattedline::tt_text;
        line.level = formattedlinetest::level(record);
        line.function = formattedlinetest::function(record);
        line.time = formattedlinetest::time(record);
        line.threadId = formattedlinetest::threadId(record);
        line.utc = formattedlinetest::utc(record);
        const auto* const block = isLong ? new tolvane::string(text) : nullptr;
        std::memcpy(line.payload(), isLong ? static_cast<const void*>(&block) : text.c_str(),
                    line.size);
        m_lines.add(line);
    }

    std::vector<formattedline> m_records;
    packedlines m_lines;
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
