#pragma once

#include <tolvane/export.h>
#include <tolvane/filetracestream.h>
#include <tolvane/pathname.h>
#include <tolvane/string.h>

#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

/// A file sink that starts a new file when the current one has grown too large or too old.
///
/// Older files have the whole name followed by a point and a number: trace.log.0 is the newest, the
/// highest number the oldest. The line that crosses a limit is the last one of its file. Everything
/// else is as for filetracestream, id() included: a file sink and a rotating sink of the same name
/// replace each other. What cannot be deleted or renamed stays where it is; a current file that
/// cannot be renamed is emptied all the same.
class TOLVANE_EXPORT rotatingfilestracestream : public filetracestream
{
public:
    /// The limits are multiplied as unsigned 64-bit numbers: those that do not fit wrap.
    ///
    /// \param filename  as for filetracestream.
    /// \param files     how many files are kept, the current one included; less than 2 counts as 2.
    ///                  Files with numbers beyond are never touched.
    /// \param maxsize   in KiB; 0 starts a new file after every line. Counted are the characters of
    ///                  the lines, without their ends, so that a file grows somewhat larger; with
    ///                  lineend::lf the bytes that are written.
    /// \param maxdays   age in days since the file was created; 0 for no limit. The file's creation
    ///                  is taken in UTC and compared with local time.
    /// \param end       what lines end in.
    rotatingfilestracestream(const tolvane::string& filename, unsigned long long files,
                             unsigned long long maxsize, unsigned long long maxdays,
                             tolvane::lineend end = tolvane::lineend::crlf);

    /// The same for a std::filesystem::path.
    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    rotatingfilestracestream(const path_t& filename, unsigned long long files,
                             unsigned long long maxsize, unsigned long long maxdays,
                             tolvane::lineend end = tolvane::lineend::crlf)
        : rotatingfilestracestream(tolvane::string(filename.native().c_str()), files, maxsize,
                                   maxdays, end)
    {}

    /// Copies the name, the limits and how lines are written, but, unlike a file sink, not the
    /// levels.
    rotatingfilestracestream(const rotatingfilestracestream& other);

    rotatingfilestracestream& operator=(const rotatingfilestracestream&) = delete;

    void log(const formattedline& line) override;
    ~rotatingfilestracestream() override;
    rotatingfilestracestream* clone() const override;

private:
    friend class passwriter;
    friend class sinkdescription;

    struct TOLVANE_INTERNAL Impl;

    Impl* m_rotation; ///< limits and running state; owned, never null
};

TOLVANE_END_DECLARATIONS
