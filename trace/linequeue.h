#pragma once

#include <tolvane/formattedline.h>

#include "trace/countedptr.h"
#include "trace/operands.h"

#include <algorithm>
#include <cstddef>
#include <vector>

struct stagedline;

/// The records that wait for a sink, in the order in which they were made, and those that were
/// written, whose memory serves again.
///
/// Every member needs the instance lock.
class linequeue
{
public:
    using batch_t = std::vector<countedptr<formattedline>>;

    std::size_t size() const noexcept { return m_lines.size(); }

    /// Makes the record of a staged line. Throws std::bad_alloc, and nothing has changed then.
    void append(const stagedline& line, unsigned int threadId);

    /// Makes a record of now and of the calling thread; the text is taken over and left empty.
    /// Throws in the same way.
    void append(tracelevel_t level, const hashedfunction& function, formattedline::type_t type,
                tolvane::string& text);

    /// Drops the records that are refused. Those that were not, before, still are not while the
    /// generation of levels and sinks is the same.
    ///
    /// \param isRefused  called with function and level.
    template <class refuses_t>
    void prune(unsigned int generation, const refuses_t& isRefused)
    {
        const std::size_t taken = generation == m_takenGeneration ? m_taken : 0;
        const auto refused = [&isRefused](const countedptr<formattedline>& line) {
            return isRefused(*line->m_function, line->m_level);
        };
        m_lines.erase(std::remove_if(m_lines.begin() + static_cast<std::ptrdiff_t>(taken),
                                     m_lines.end(), refused),
                      m_lines.end());
        m_taken = m_lines.size();
        m_takenGeneration = generation;
    }

    /// Takes all records, in constant time.
    batch_t takeAll() noexcept;

    /// Keeps written records for lines to come, in constant time, unless they are fewer than those
    /// that are kept already.
    /// \param written  their texts are empty; what is left in it is the caller's to destroy.
    void keep(batch_t& written) noexcept;

    /// Empties records of their texts, and goes without large ones. Needs no lock.
    static void emptyRecords(batch_t& written) noexcept;

    /// Calls a function with function and level of each record of a batch.
    template <class visit_t>
    static void visit(const batch_t& batch, const visit_t& action)
    {
        for (const auto& line : batch) {
            action(*line->m_function, line->m_level);
        }
    }

private:
    friend struct traceimpltest;

    formattedline& makeRecord();
    void makeRoom();
    void setText(formattedline& record, const stagedline& line);

    batch_t m_lines;
    batch_t m_spareLines; ///< written records
    operandreader m_reader;

    /// So many records in front are known to be taken by a sink, under this generation.
    std::size_t m_taken = 0;
    unsigned int m_takenGeneration = 0;
};
