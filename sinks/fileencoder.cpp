#include "sinks/fileencoder.h"

#include <tolvane/filetracestream.h>

#include "sinks/fileencoding.h"
#include "sinks/jsonline.h"
#include "trace/globallocale.h"

fileencoder::fileencoder() : m_locale(globalLocale()) {}

unsigned long long fileencoder::append(std::string& bytes, const formattedline& line,
                                       const filetracestream& sink)
{
    const std::size_t before = bytes.size();
    if (sink.m_format == filetracestream::ff_json) {
        appendJsonLine(bytes, line, line.m_time, m_stamp);
        return bytes.size() - before;
    }
    appendEncodedLine(bytes, text(line), m_locale, sink.m_lineEnd);
    return sink.m_lineEnd == tolvane::lineend::crlf ? text(line).length() : bytes.size() - before;
}

const tolvane::string& fileencoder::text(const formattedline& line)
{
    return line.rendered(m_stamp);
}
