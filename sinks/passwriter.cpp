#include "sinks/passwriter.h"

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "sinks/fileencoding.h"
#include "sinks/rotation.h"
#include "support/file.h"

#include <algorithm>
#include <typeinfo>

namespace {

/// Bytes; what is gathered for a file beyond that is written before the pass ends.
constexpr std::size_t mostGathered = 1 << 20;

/// Exactly this class: one that derives from it may have a log() of its own.
template <class sink_t>
sink_t* exactly(tracestream& sink)
{
    return typeid(sink) == typeid(sink_t) ? static_cast<sink_t*>(&sink) : nullptr;
}

} // namespace

passwriter::destination::destination(tracestream& target)
    : sink(target),
      isStream(exactly<ostreamtracestream<char>>(target) ||
               exactly<ostreamtracestream<wchar_t>>(target)),
      file(exactly<filetracestream>(target)),
      rotating(exactly<rotatingfilestracestream>(target))
{
    file = rotating ? rotating : file;
    if (file) {
        path = encodeFilename(file->filename());
    }
}

passwriter::passwriter(const std::map<unsigned long long, tracestream*>& sinks)
{
    m_destinations.reserve(sinks.size());
    for (const auto& sink : sinks) {
        m_destinations.emplace_back(*sink.second);
        m_hasStreams = m_hasStreams || m_destinations.back().isStream;
    }
    m_gathers = gatheringIsUnnoticed();
}

passwriter::~passwriter()
{
    settleAll();
}

/// Two names may be those of one file; files that exist tell whether they are. A file that does not
/// is nobody's until it takes its first line.
bool passwriter::gatheringIsUnnoticed()
{
    std::vector<tolvane::FileIdentity> files;
    const auto fileCount = std::count_if(m_destinations.begin(), m_destinations.end(),
                                         [](const destination& to) { return to.file != nullptr; });
    for (destination& to : m_destinations) {
        if (!to.known()) {
            return false;
        }
        if (!to.file || fileCount == 1) {
            continue;
        }
        tolvane::FileIdentity identity;
        to.isMissing = !tolvane::identify(to.path, identity);
        if (to.isMissing) {
            continue;
        }
        if (std::find(files.begin(), files.end(), identity) != files.end()) {
            return false;
        }
        files.push_back(identity);
    }
    return true;
}

/// The rest of the pass goes line by line.
void passwriter::stopGathering() noexcept
{
    settleAll();
    m_gathers = false;
}

void passwriter::write(const formattedline& line) noexcept
{
    m_isRendered = false;
    for (destination& to : m_destinations) {
        try {
            if (line.m_level > to.sink.level(*line.m_function)) {
                continue;
            }
            if (m_gathers && to.isMissing) {
                stopGathering();
            }
            if (m_gathers && to.file) {
                gather(to, line);
            } else {
                to.sink.log(line);
            }
        } catch (...) {
            // this sink loses this line; the others, and the lines that follow, are none of its
            // business
        }
    }
}

/// Among files alone, nobody looks for the text in the record: one text's memory does for all lines
/// of the pass. Memory that is touched for the first time takes longer than all that is written to
/// it.
const tolvane::string& passwriter::textOf(const formattedline& line)
{
    if (m_hasStreams || !line.m_formatted.empty()) {
        return line.rendered(m_stamp);
    }
    if (!m_isRendered) {
        line.render(m_text, m_stamp);
        m_isRendered = true;
    }
    return m_text;
}

void passwriter::gather(destination& to, const formattedline& line)
{
    const tolvane::string& text = textOf(line);
    const std::size_t whole = to.bytes.size();
    try {
        appendEncodedLine(to.bytes, text, m_locale);
        to.lineEnds.push_back(to.bytes.size());
    } catch (...) {
        to.bytes.resize(whole); // half a line would run into the next one
        throw;
    }
    if (to.rotating) {
        to.rotating->m_rotation->rotate(to.path, text.length(), [this] { settleAll(); });
    }
    if (to.bytes.size() > mostGathered) {
        settle(to);
    }
}

void passwriter::settleAll() noexcept
{
    for (destination& to : m_destinations) {
        settle(to);
    }
}

/// Every line has its try at opening the file: the ones that find it closed to them are lost, and
/// the first one that does not takes all that follow along.
void passwriter::settle(destination& to) noexcept
{
    std::size_t start = 0;
    for (const std::size_t lineEnd : to.lineEnds) {
        if (tolvane::appendToFile(to.path, to.bytes.data() + start, to.bytes.size() - start)) {
            break;
        }
        start = lineEnd;
    }
    to.bytes.clear();
    to.lineEnds.clear();
}
