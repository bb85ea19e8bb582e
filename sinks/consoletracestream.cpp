#include <tolvane/consoletracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/terminals.h"

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// \param colour  what turns it on; null for none.
template <class char_t>
std::basic_string<char_t> lineOf(const char_t* text, const char* colour)
{
    std::basic_string<char_t> line;
    const auto append = [&line](std::string_view sequence) {
        line.append(sequence.begin(), sequence.end());
    };
    if (colour) {
        append(colour);
    }
    line.append(text);
    if (colour) {
        append(plainAgain);
    }
    append("\n");
    return line;
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

bool consoletracestream::isColoured(tolvane::standardstream stream) const
{
    return m_colours == co_always ||
           (m_colours == co_onTerminals && tolvane::Terminals::current().takesColours(stream));
}

/// The stream may have been given another buffer, and be led elsewhere, since the last line. What
/// waits in the buffer came before.
void consoletracestream::log(const formattedline& line)
{
    const tolvane::Terminals& terminals = tolvane::Terminals::current();
    std::streambuf* const buffer = m_stream->rdbuf();
    const auto standard = terminals.streamOf(buffer);
    const char* const colour = standard && isColoured(*standard) ? colourOf(line.level()) : nullptr;
    const tolvane::string text = line;
    if (standard && buffer->pubsync() == 0 &&
        terminals.write(*standard, lineOf(text.c_str(), colour))) {
        return;
    }
    const std::string bytes = lineOf(text.narrow(), colour);
    const auto count = static_cast<std::streamsize>(bytes.size());
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
