#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/tracestream.h>

#include "sinks/timestamp.h"

#include <locale>
#include <map>
#include <string>
#include <vector>

class filetracestream;
class rotatingfilestracestream;

/// Hands the lines of one pass to the sinks, line by line across all sinks, in the order of their
/// ids.
///
/// What goes to files is gathered and written at the end of the pass, with one opening per file.
/// The files then hold what they would hold if every line had been written at once: their bytes,
/// their order, where they rotate, and which line is lost when a file cannot be opened. Lines are
/// not gathered with a sink that the library does not know, or with two names that may be those of
/// one file. A stream gets its lines at once; one that ends in a file that a file sink writes, too,
/// gets them before the file sink's.
///
/// Caller holds the sink lock from construction to destruction.
class passwriter
{
public:
    explicit passwriter(const std::map<unsigned long long, tracestream*>& sinks);

    /// Writes what was gathered.
    ~passwriter();

    passwriter(const passwriter&) = delete;
    passwriter& operator=(const passwriter&) = delete;

    /// What a sink throws costs this sink this line.
    void write(const formattedline& line) noexcept;

private:
    struct destination
    {
        explicit destination(tracestream& target);

        bool known() const noexcept { return isStream || file; }

        tracestream& sink;
        bool isStream;         ///< one of the library's stream sinks
        filetracestream* file; ///< the sink, when it is one of the library's file sinks
        rotatingfilestracestream* rotating; ///< the sink, when it is the library's rotating one
        std::string path;                   ///< of a file sink
        std::string bytes;                  ///< gathered
        std::vector<std::size_t> lineEnds;  ///< in bytes

        /// The file is not there. Once it is, it may turn out to be another sink's, too.
        bool isMissing = false;
    };

    bool gatheringIsUnnoticed();
    const tolvane::string& textOf(const formattedline& line);
    void stopGathering() noexcept;
    void gather(destination& to, const formattedline& line);
    void settleAll() noexcept;
    static void settle(destination& to) noexcept;

    std::vector<destination> m_destinations;
    std::locale m_locale; ///< the global one, which converts the text of files
    timestamp m_stamp;
    tolvane::string m_text; ///< of the line that is being written, once it was rendered here
    bool m_isRendered = false;
    bool m_hasStreams = false; ///< one may convert a record, which keeps its text then
    bool m_gathers;
};
