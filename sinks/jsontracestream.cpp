#include <tolvane/jsontracestream.h>

jsontracestream::jsontracestream(const tolvane::string& filename) : jsontracestream(filename, 0, 0)
{
    m_rotates = false;
}

jsontracestream::jsontracestream(const tolvane::string& filename, unsigned long long files,
                                 unsigned long long maxsize)
    : rotatingfilestracestream(filename, files, maxsize, 0, tolvane::lineend::lf), m_rotates(true)
{
    m_format = ff_json;
}

jsontracestream::jsontracestream(const jsontracestream& other) = default;

jsontracestream::~jsontracestream() = default;

void jsontracestream::log(const formattedline& line)
{
    if (m_rotates) {
        rotatingfilestracestream::log(line);
    } else {
        filetracestream::log(line); // NOLINT(bugprone-parent-virtual-call)
    }
}

jsontracestream* jsontracestream::clone() const
{
    auto* const cloned = new jsontracestream(*this);
    cloned->m_kind = m_rotates ? sk_rotatingfile : sk_file;
    return cloned;
}
