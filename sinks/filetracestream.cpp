#include <tolvane/filetracestream.h>

#include <tolvane/formattedline.h>

#include "function/componenthash.h"
#include "sinks/fileencoding.h"
#include "support/filesystem.h"
#include "trace/globallocale.h"

#include <string>

filetracestream::filetracestream(const tolvane::string& filename) : m_filename(filename) {}

filetracestream::filetracestream(const filetracestream& other) = default;

filetracestream::~filetracestream() = default;

void filetracestream::log(const formattedline& line)
{
    std::string bytes;
    appendEncodedLine(bytes, line.rendered(), globalLocale());
    // a line that cannot be written is lost, and the next one tries again
    const std::size_t end = bytes.size();
    tolvane::FileSystem::current().append(m_filename.narrow(), {bytes.data(), 0, &end, 1}, true);
}

unsigned long long filetracestream::id() const
{
    return static_cast<unsigned long long>(componentHash(m_filename.c_str(), m_filename.length()));
}

filetracestream* filetracestream::clone() const
{
    auto* const cloned = new filetracestream(m_filename);
    cloned->m_kind = sk_file;
    return cloned;
}
