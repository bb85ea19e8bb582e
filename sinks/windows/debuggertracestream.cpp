#include <tolvane/debuggertracestream.h>

#include <tolvane/formattedline.h>

#include "sinks/platformsinks.h"
#include "sinks/windows/debugger.h"

#include <cstdint>

namespace {

const char destination = 0; ///< its address is the debugger's id

} // namespace

debuggertracestream::debuggertracestream() = default;

debuggertracestream::debuggertracestream(const debuggertracestream& other) = default;

debuggertracestream::~debuggertracestream() = default;

void debuggertracestream::log(const formattedline& line)
{
    tolvane::string text = line;
    text.append(L"\n");
    tolvane::Debugger::current().tell(text.c_str());
}

unsigned long long debuggertracestream::id() const
{
    return reinterpret_cast<std::uintptr_t>(&destination);
}

const wchar_t* platformDestination(unsigned long long id) noexcept
{
    return id == reinterpret_cast<std::uintptr_t>(&destination) ? L"debugger" : nullptr;
}

debuggertracestream* debuggertracestream::clone() const
{
    auto* const cloned = new debuggertracestream;
    cloned->m_kind = sk_stream;
    return cloned;
}
