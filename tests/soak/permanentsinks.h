#pragma once

#include <tolvane/tolvane.h>

#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/traceimpltest.h"
#include "tests/soak/counts.h"
#include "tests/soak/orderedsink.h"
#include "tests/soak/tracefiles.h"
#include "tests/soak/verdict.h"

#include <string>

/// The three sinks of a round, each a kind of its own: they come and go together, and get the same
/// lines.
class permanentsinks
{
public:
    permanentsinks()
        : m_file(m_folder.file("single.log")),
          m_files(m_folder.file("rotating.log")),
          m_single(m_file.name().c_str()),
          m_rotating(m_files.name().c_str(), files, kibibytes, withoutLimit)
    {}

    void attach() const
    {
        traceimpltest::withBothLocks([&] {
            trace::output(m_ordered).setLevel(tl_trace);
            trace::output(m_single).setLevel(tl_warning);
            trace::output(m_rotating).setLevel(tl_warning);
        });
    }

    /// Brings the levels back that a change of everybody's has overwritten.
    void setLevels(tracelevel_t ofFiles) const
    {
        traceimpltest::setLevel(m_ordered.id(), tl_trace);
        traceimpltest::setLevel(m_single.id(), ofFiles);
        traceimpltest::setLevel(m_rotating.id(), ofFiles);
    }

    /// In a forked process, which writes to the one file, but keeps out of the other's rotation.
    void leaveToChild() const
    {
        trace::remove(m_rotating);
        traceimpltest::setLevel(m_single.id(), tl_trace);
    }

    /// Of the single file, for a forked process.
    soakcounts fileCounts() const
    {
        soakcounts counts;
        traceimpltest::withBothLocks([&] { counts = soakcounts::of(m_single.id()); });
        return counts;
    }

    const orderedsink& ordered() const { return m_ordered; }

    /// Checks all when nobody traces any more, and lets them go.
    /// \param offered        how many lines each was offered.
    /// \param fromChildren   how many lines others have written to the single file.
    void finish(unsigned long long offered, unsigned long long fromChildren)
    {
        traceimpltest::withBothLocks([&] {
            checkOffered(m_ordered.id(), offered, "the sink of the application");
            checkOffered(m_single.id(), offered, "the file sink");
            checkOffered(m_rotating.id(), offered, "the rotating sink");
            m_counts[0] = soakcounts::of(m_ordered.id());
            m_counts[1] = soakcounts::of(m_single.id());
            m_counts[2] = soakcounts::of(m_rotating.id());
        });
        trace::remove(m_ordered);
        trace::remove(m_single);
        trace::remove(m_rotating);
        m_file.read();
        m_files.read();
        checkLines(m_ordered.found().order, m_counts[0].written, 0, "the sink of the application");
        checkLines(m_file.order(), m_counts[1].written, fromChildren, "the file");
        checkLines(m_files.order(), m_counts[2].written, 0, "the rotated files");
    }

    /// Of all three together. After finish(), as what follows.
    soakcounts counts() const
    {
        soakcounts all = m_counts[0];
        all += m_counts[1];
        return all += m_counts[2];
    }

    unsigned long long rotations() const { return m_files.rotations(); }

private:
    static constexpr unsigned long long files = 100000; ///< none is to be deleted
    static constexpr unsigned long long kibibytes = 512;
    static constexpr unsigned long long withoutLimit = 0;

    static void checkOffered(unsigned long long id, unsigned long long offered, const char* who)
    {
        const soakcounts counts = soakcounts::of(id);
        verdict::check(counts.total() == offered,
                       std::string(who) + " has " + std::to_string(counts.written) + " written, " +
                           std::to_string(counts.lost) + " lost and " +
                           std::to_string(counts.refused) + " refused of " +
                           std::to_string(offered));
        verdict::check(counts.written > 100, std::string(who) + " got hardly a line");
    }

    static void checkLines(const lineorder& found, unsigned long long written,
                           unsigned long long fromChildren, const char* where)
    {
        const unsigned long long own = found.lines() - found.ofChildren();
        verdict::check(own == written && found.ofChildren() == fromChildren,
                       std::string(where) + " got " + std::to_string(own) + " lines and " +
                           std::to_string(found.ofChildren()) + " of forked processes, not " +
                           std::to_string(written) + " and " + std::to_string(fromChildren));
        verdict::check(found.complaint().empty(), std::string(where) + " got " + found.complaint());
    }

    const temporaryfolder m_folder;
    tracefiles m_file;
    tracefiles m_files;
    const orderedsink m_ordered{1};
    const filetracestream m_single;
    const rotatingfilestracestream m_rotating;
    soakcounts m_counts[3];
};
