#include <tolvane/syslogtracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/platformsinks.h"
#include "sinks/posix/systemlog.h"
#include "support/utf8.h"
#include "support/view.h"

#include <syslog.h>

#include <cstdint>
#include <string>

namespace {

const char destination = 0; ///< its address is the log's id

int priorityOf(tracelevel_t level) noexcept
{
    switch (level) {
    case tl_error:
        return LOG_ERR;
    case tl_warning:
        return LOG_WARNING;
    case tl_info:
        return LOG_INFO;
    case tl_verbose:
    case tl_debug:
    case tl_trace:
        return LOG_DEBUG;
    default:
        return LOG_NOTICE;
    }
}

void append(std::string& bytes, const tolvane::string& text)
{
    tolvane::utf8::appendNarrow(bytes, tolvane::view(text));
}

std::string messageOf(const formattedline& line)
{
    std::string message;
    append(message, line.function());
    message += " : ";
    if (line.type() == formattedline::tt_text) {
        append(message, line.text());
    } else {
        message += line.type() == formattedline::tt_starting ? "starting" : "exiting";
    }
    return message;
}

} // namespace

syslogtracestream::syslogtracestream(const tolvane::string& ident) : m_ident(ident) {}

syslogtracestream::syslogtracestream(const syslogtracestream& other)
    : tracestream(other), m_ident(other.m_ident)
{}

syslogtracestream::~syslogtracestream() = default;

void syslogtracestream::log(const formattedline& line)
{
    const tolvane::SystemLog& systemLog = tolvane::SystemLog::current();
    if (!m_isOpen && !m_ident.empty()) {
        std::string ident;
        append(ident, m_ident);
        systemLog.open(ident);
        m_isOpen = true;
    }
    systemLog.write(priorityOf(line.level()), messageOf(line));
}

unsigned long long syslogtracestream::id() const
{
    return reinterpret_cast<std::uintptr_t>(&destination);
}

const wchar_t* platformDestination(unsigned long long id) noexcept
{
    return id == reinterpret_cast<std::uintptr_t>(&destination) ? L"system log" : nullptr;
}

syslogtracestream* syslogtracestream::clone() const
{
    auto* const cloned = new syslogtracestream(m_ident);
    cloned->m_kind = sk_stream;
    return cloned;
}
