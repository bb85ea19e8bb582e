#pragma once

#include <tolvane/export.h>
#include <tolvane/lineend.h>
#include <tolvane/pathname.h>
#include <tolvane/string.h>
#include <tolvane/tracestream.h>

#include <string>
#include <type_traits>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {
class SettingsSinks;
} // namespace tolvane

/// A sink that appends lines to a file.
///
/// The file is opened for every line and closed again, so that others may read, copy, rename or
/// delete it at any time; the next line makes a file of that name when there is none. Every line
/// ends in carriage return and line feed, if nothing else is said, and so does every line feed
/// inside a text. Bytes come from the conversion facet (std::codecvt<wchar_t, char,
/// std::mbstate_t>) of the global C++ locale; a line stops at the first character that it does not
/// convert. A line that cannot be written whole is lost.
class TOLVANE_EXPORT filetracestream : public tracestream
{
public:
    /// \param filename  absolute, or relative to the current directory at the time of each line.
    ///                  Nothing is opened or checked; lines for a name that cannot be opened are
    ///                  lost until it can. A character that the process's locale (LC_CTYPE) does
    ///                  not have becomes "?", which no name of a file may have on Windows.
    /// \param end       what lines end in; what is none of the values counts as lf.
    explicit filetracestream(const tolvane::string& filename,
                             tolvane::lineend end = tolvane::lineend::crlf);

    /// The same for a std::filesystem::path.
    template <class path_t, std::enable_if_t<tolvane::isPath<path_t>, int> = 0>
    explicit filetracestream(const path_t& filename, tolvane::lineend end = tolvane::lineend::crlf)
        : filetracestream(tolvane::string(filename.native().c_str()), end)
    {}

    /// Copies the levels, the name and how lines are written.
    filetracestream(const filetracestream& other);

    filetracestream& operator=(const filetracestream&) = delete;

    void log(const formattedline& line) override;
    ~filetracestream() override;

    /// A hash of the name as it stands: other spellings of the same file's name are other sinks.
    unsigned long long id() const override;

    filetracestream* clone() const override;

protected:
    const tolvane::string& filename() const noexcept { return m_filename; }

private:
    friend class fileencoder;
    friend class jsontracestream;
    friend class passwriter;
    friend class rotatingfilestracestream;
    friend class sinkdescription;
    friend class tolvane::SettingsSinks;

    /// What a record is written as.
    enum format_t : short
    {
        ff_text = 0, ///< the line's text
        ff_json = 1, ///< an object
    };

    std::string path() const;
    unsigned long long write(const formattedline& line);

    tolvane::string m_filename;
    tolvane::lineend m_lineEnd;
    format_t m_format = ff_text;
    bool m_nameIsUtf8 = false; ///< for the system, whatever the locale
};

TOLVANE_END_DECLARATIONS
