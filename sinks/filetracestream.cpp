#include <tolvane/filetracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/fileencoder.h"
#include "sinks/fileid.h"
#include "support/filesystem.h"
#include "support/utf8path.h"

#include <string>

filetracestream::filetracestream(const tolvane::string& filename, tolvane::lineend end)
    : m_filename(filename), m_lineEnd(end)
{}

filetracestream::filetracestream(const filetracestream& other) = default;

filetracestream::~filetracestream() = default;

void filetracestream::log(const formattedline& line)
{
    write(line);
}

/// As the platform takes it.
std::string filetracestream::path() const
{
    return m_nameIsUtf8 ? tolvane::utf8Path(m_filename.c_str()) : m_filename.narrow();
}

/// A line that cannot be written is lost, and the next one tries again.
/// \return by how much the file counts as larger, when it is.
unsigned long long filetracestream::write(const formattedline& line)
{
    std::string bytes;
    const unsigned long long size = fileencoder().append(bytes, line, *this);
    const std::size_t end = bytes.size();
    tolvane::FileSystem::current().append(path(), {bytes.data(), 0, &end, 1, m_lineEnd}, true);
    return size;
}

unsigned long long filetracestream::id() const
{
    return idOfFile(m_filename);
}

filetracestream* filetracestream::clone() const
{
    auto* const cloned = new filetracestream(m_filename, m_lineEnd);
    cloned->m_nameIsUtf8 = m_nameIsUtf8;
    cloned->m_kind = sk_file;
    return cloned;
}
