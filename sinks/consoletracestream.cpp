#include <tolvane/consoletracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/terminals.h"

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* plainAgain = "\x1b[0m";

/// Null for a level that is as other text.
const char* colourOf(tracelevel_t level) noexcept
{
    switch (level) {
    case tl_error:
        return "\x1b[31m"; // red
    case tl_warning:
        return "\x1b[33m"; // yellow
    case tl_info:
    case tl_verbose:
        return nullptr;
    case tl_debug:
    case tl_trace:
        return "\x1b[90m"; // grey
    default:
        return "\x1b[1m"; // bold
    }
}

/// In the encoding of consoles.
void appendText(std::string& bytes, const tolvane::string& text)
{
    bytes.append(text.narrow());
}

std::string bytesOf(const formattedline& line, bool isColoured)
{
    std::string bytes;
    const char* const colour = isColoured ? colourOf(line.level()) : nullptr;
    if (colour) {
        bytes.append(colour);
    }
    appendText(bytes, line);
    if (colour) {
        bytes.append(plainAgain);
    }
    return bytes.append(1, '\n');
}

} // namespace

consoletracestream::consoletracestream() : consoletracestream(std::cerr) {}

consoletracestream::consoletracestream(std::ostream& stream) : consoletracestream(stream, wanted())
{}

consoletracestream::consoletracestream(std::ostream& stream, colours_t colours)
    : m_stream(&stream), m_colours(colours)
{}

consoletracestream::consoletracestream(const consoletracestream& other) = default;

consoletracestream::~consoletracestream() = default;

consoletracestream::colours_t consoletracestream::wanted()
{
    const tolvane::Terminals& terminals = tolvane::Terminals::current();
    const std::string forced = terminals.variable("FORCE_COLOR");
    if (!terminals.variable("NO_COLOR").empty() || forced == "0") {
        return co_never;
    }
    if (!forced.empty()) {
        return co_always;
    }
    return terminals.variable("TERM") == "dumb" ? co_never : co_onTerminals;
}

/// The stream may have been given another buffer, and be led elsewhere, since the last line.
bool consoletracestream::isColoured() const
{
    if (m_colours == co_never) {
        return false;
    }
    const tolvane::Terminals& terminals = tolvane::Terminals::current();
    const auto standard = terminals.streamOf(m_stream->rdbuf());
    return standard && (m_colours == co_always || terminals.takesColours(*standard));
}

void consoletracestream::log(const formattedline& line)
{
    const std::string bytes = bytesOf(line, isColoured());
    const auto count = static_cast<std::streamsize>(bytes.size());
    std::streambuf* const buffer = m_stream->rdbuf();
    if (!buffer || buffer->sputn(bytes.data(), count) != count || buffer->pubsync() != 0) {
        throw std::runtime_error("the stream does not take the line");
    }
}

unsigned long long consoletracestream::id() const
{
    return reinterpret_cast<std::uintptr_t>(m_stream);
}

consoletracestream* consoletracestream::clone() const
{
    auto* const cloned = new consoletracestream(*m_stream, m_colours);
    cloned->m_kind = sk_stream;
    return cloned;
}
