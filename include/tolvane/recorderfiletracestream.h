#pragma once

#include <tolvane/export.h>
#include <tolvane/pathname.h>
#include <tolvane/string.h>
#include <tolvane/tracestream.h>

#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

/// A flight recorder that outlives the program: the newest lines in a file of a fixed size, the
/// newest in the place of the oldest.
///
/// The file lies in memory, so that a line costs no call of the system, and is in the file when
/// the process is killed, by whatever (it need not be when the machine is). What was traced in the
/// last moments may not have reached the sink by then, see trace::flushOn. Lines are in UTF-8 and
/// whole; docs/recorder.md describes the file byte by byte, and `strings` shows the lines.
///
/// The file is opened with the first line, and has all of its size on the disk from then on; where
/// that cannot be had, lines are lost, and it is tried again a second later. Lines that are there
/// from an earlier run stay in front of the new ones; where the size has changed the file begins
/// anew. What is no such file is left alone, and so is one that another sink has, of this process
/// or of another one. A forked process leaves its parent's file alone and loses the lines.
class TOLVANE_EXPORT recorderfiletracestream : public tracestream
{
public:
    /// \param filename  as for filetracestream.
    /// \param kib       size of the file in KiB; less than 4 counts as 4. A line that is longer is
    ///                  lost.
    recorderfiletracestream(const tolvane::string& filename, unsigned long long kib);

    /// The same for a std::filesystem::path.
    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    recorderfiletracestream(const path_t& filename, unsigned long long kib)
        : recorderfiletracestream(tolvane::string(filename.native().c_str()), kib)
    {}

    /// Copies the levels, the name and the size.
    recorderfiletracestream(const recorderfiletracestream& other);

    recorderfiletracestream& operator=(const recorderfiletracestream&) = delete;

    /// Throws, for the dispatcher to count the line as lost, when the file does not take it.
    void log(const formattedline& line) override;
    ~recorderfiletracestream() override;

    /// That of a file sink of this name.
    unsigned long long id() const override;

    recorderfiletracestream* clone() const override;

private:
    friend class sinkdescription;

    struct TOLVANE_INTERNAL Impl;

    Impl* m_file; ///< owned, never null
};

TOLVANE_END_DECLARATIONS
