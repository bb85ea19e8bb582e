#include <tolvane/recorderfiletracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/fileid.h"
#include "sinks/recorderfile.h"
#include "support/clock.h"
#include "support/utf8.h"
#include "support/view.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

constexpr unsigned long long leastKib = 4;
constexpr int kibibyteShift = 10;

/// More than any disk has.
constexpr unsigned long long mostKib =
    static_cast<unsigned long long>(std::numeric_limits<std::ptrdiff_t>::max()) >> kibibyteShift;

constexpr unsigned long long retryInterval = 1000; ///< milliseconds

} // namespace

recorderfiletracestream::Impl::Impl(const tolvane::string& path, unsigned long long sizeInKib)
    : m_filename(path), m_kib(std::clamp(sizeInKib, leastKib, mostKib))
{}

bool recorderfiletracestream::Impl::write(const tolvane::string& text)
{
    if (m_process != tolvane::forkCount || (!m_lines && !open())) {
        return false;
    }
    m_bytes.clear();
    tolvane::utf8::appendNarrow(m_bytes, tolvane::view(text));
    return m_lines->write(m_bytes);
}

bool recorderfiletracestream::Impl::open()
{
    const unsigned long long now = tolvane::Clock::current().monotonicMilliseconds();
    if (now < m_triesAt) {
        return false;
    }
    const auto size = static_cast<std::size_t>(m_kib << kibibyteShift);
    m_mapped.emplace(m_filename.narrow(), size, linering::mark);
    if (!m_mapped->memory()) {
        m_lastError = m_mapped->error();
        m_mapped.reset();
        m_triesAt = now + retryInterval;
        return false;
    }
    m_lines.emplace(m_mapped->memory(), size);
    return true;
}

recorderfiletracestream::recorderfiletracestream(const tolvane::string& filename,
                                                 unsigned long long kib)
    : m_file(new Impl(filename, kib))
{}

recorderfiletracestream::recorderfiletracestream(const recorderfiletracestream& other)
    : tracestream(other), m_file(new Impl(other.m_file->m_filename, other.m_file->m_kib))
{}

recorderfiletracestream::~recorderfiletracestream()
{
    delete m_file;
}

void recorderfiletracestream::log(const formattedline& line)
{
    if (!m_file->write(line)) {
        throw std::runtime_error("the file does not take the line");
    }
}

unsigned long long recorderfiletracestream::id() const
{
    return idOfFile(m_file->m_filename);
}

recorderfiletracestream* recorderfiletracestream::clone() const
{
    auto* const cloned = new recorderfiletracestream(m_file->m_filename, m_file->m_kib);
    cloned->m_kind = sk_recorderfile;
    return cloned;
}
