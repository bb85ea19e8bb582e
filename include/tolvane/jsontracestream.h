#pragma once

#include <tolvane/export.h>
#include <tolvane/pathname.h>
#include <tolvane/rotatingfilestracestream.h>
#include <tolvane/string.h>

#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

/// A sink that appends lines to a file as JSON, an object a line, for programs to read:
///
///     {"time":"2024-03-05T14:07:09.045123456+01:00","level":"info","thread":2500,"name":"loader",
///      "function":"MyClass::doWork","kind":"text","text":"loaded 12 items"}
///
/// (in one line). The time is as RFC 3339 has it, local and with the zone; in UTC where the zone is
/// ahead by what that has no place for, a day or more or a part of a minute. The thread's name is
/// there when it has one, see trace::nameThread. The kind is "start", "exit" or "text"; the text of
/// the first two is empty. Levels that have no name are "always".
///
/// Lines are in UTF-8 and end in line feeds, whatever the locale. Whatever a text is, its object is
/// valid: half of a surrogate pair is U+FFFD, control characters are escaped.
///
/// Everything else is as for the other file sinks, id() included: sinks of one name replace each
/// other.
class TOLVANE_EXPORT jsontracestream : public rotatingfilestracestream
{
public:
    /// A file that grows without limit.
    /// \param filename  as for filetracestream.
    explicit jsontracestream(const tolvane::string& filename);

    /// A new file is started when the current one has grown too large, as by
    /// rotatingfilestracestream.
    /// \param files    how many files are kept.
    /// \param maxsize  in KiB, of the bytes that are written.
    jsontracestream(const tolvane::string& filename, unsigned long long files,
                    unsigned long long maxsize);

    /// The same for a std::filesystem::path.
    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    explicit jsontracestream(const path_t& filename)
        : jsontracestream(tolvane::string(filename.native().c_str()))
    {}

    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    jsontracestream(const path_t& filename, unsigned long long files, unsigned long long maxsize)
        : jsontracestream(tolvane::string(filename.native().c_str()), files, maxsize)
    {}

    /// Copies the name and the limits, but not the levels.
    jsontracestream(const jsontracestream& other);

    jsontracestream& operator=(const jsontracestream&) = delete;

    void log(const formattedline& line) override;
    ~jsontracestream() override;
    jsontracestream* clone() const override;

private:
    bool m_rotates;
};

TOLVANE_END_DECLARATIONS
