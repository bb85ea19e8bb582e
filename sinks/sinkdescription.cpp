#include "sinks/sinkdescription.h"

#include <tolvane/filetracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "function/functiontree.h"
#include "settings/levelsettings.h"
#include "sinks/linerecorder.h"
#include "sinks/recorderfile.h"
#include "sinks/rotation.h"
#include "support/errortext.h"
#include "support/hexdigits.h"

#include <cstdint>
#include <iostream>

namespace {

std::wstring hexadecimal(unsigned long long number)
{
    std::wstring digits;
    do {
        digits.insert(digits.begin(), static_cast<wchar_t>(tolvane::hexDigit(number)));
        number >>= 4;
    } while (number != 0);
    return L"0x" + digits;
}

bool isOf(unsigned long long id, const void* stream) noexcept
{
    return id == reinterpret_cast<std::uintptr_t>(stream);
}

/// A sink for a stream has the stream's address as its id.
/// \return null for what is no standard stream.
const wchar_t* standardStream(unsigned long long id) noexcept
{
    if (isOf(id, &std::cout) || isOf(id, &std::wcout)) {
        return L"standard output";
    }
    const bool isError = isOf(id, &std::cerr) || isOf(id, &std::wcerr) || isOf(id, &std::clog) ||
                         isOf(id, &std::wclog);
    return isError ? L"standard error" : nullptr;
}

} // namespace

void sinkdescription::append(std::wstring& to, const attachedsink& attached)
{
    to += destinationOf(*attached.sink, attached.id);
    to += L": " + levelsOf(*attached.sink) + L"; " + fateOf(attached) + L'\n';
}

std::wstring sinkdescription::destinationOf(const tracestream& sink, unsigned long long id)
{
    switch (sink.m_kind) {
    case tracestream::sk_stream: {
        const wchar_t* const standard = standardStream(id);
        return standard ? standard : L"stream " + hexadecimal(id);
    }
    case tracestream::sk_file:
        return pathOf(sink);
    case tracestream::sk_rotatingfile:
        return L"rotating " + pathOf(sink) + limitsOf(sink);
    case tracestream::sk_recorder:
        return recorderOf(sink);
    case tracestream::sk_recorderfile: {
        const auto& file = *static_cast<const recorderfiletracestream&>(sink).m_file;
        return std::wstring(L"recorder file ") + file.m_filename.c_str() + L" (" +
               std::to_wstring(file.m_kib) + L" KiB)";
    }
    case tracestream::sk_custom:
        break;
    }
    return L"sink " + hexadecimal(id);
}

std::wstring sinkdescription::recorderOf(const tracestream& recorder)
{
    const recordertracestream::Impl& impl =
        *static_cast<const recordertracestream&>(recorder).m_recorder;
    return L"recorder of " + std::to_wstring(impl.m_capacity) + L" lines before " +
           tolvane::levelsettings::nameOf(impl.m_level) + L" to " +
           destinationOf(*impl.m_sink, impl.sinkId());
}

std::wstring sinkdescription::pathOf(const tracestream& file)
{
    const auto& sink = static_cast<const filetracestream&>(file);
    const bool isJson = sink.m_format == filetracestream::ff_json;
    return std::wstring(isJson ? L"JSON file " : L"file ") + sink.filename().c_str();
}

std::wstring sinkdescription::limitsOf(const tracestream& file)
{
    const rotatingfilestracestream::Impl& limits =
        *static_cast<const rotatingfilestracestream&>(file).m_rotation;
    std::wstring text = L" (" + std::to_wstring(limits.m_files) + L" of " +
                        std::to_wstring(limits.m_maxsize) + L" KiB";
    if (limits.m_maxdays != 0) {
        text += L", " + std::to_wstring(limits.m_maxdays) + L" days";
    }
    return text + L')';
}

std::wstring sinkdescription::levelsOf(const tracestream& sink)
{
    std::wstring levels;
    for (const auto& each : sink.m_levels->all()) {
        levels += levels.empty() ? L"*" : L", " + each.first;
        levels += L'=' + tolvane::levelsettings::nameOf(each.second);
    }
    return levels;
}

int sinkdescription::errorOf(const tracestream& sink, int ofFile)
{
    switch (sink.m_kind) {
    case tracestream::sk_recorder:
        return errorOf(*static_cast<const recordertracestream&>(sink).m_recorder->m_sink, ofFile);
    case tracestream::sk_recorderfile:
        return static_cast<const recorderfiletracestream&>(sink).m_file->m_lastError;
    default:
        return ofFile;
    }
}

std::wstring sinkdescription::fateOf(const attachedsink& attached)
{
    unsigned long long lost = 0;
    for (const auto& reason : attached.counts.lost) {
        lost += reason.load(std::memory_order_relaxed);
    }
    const unsigned long long written = attached.counts.written.load(std::memory_order_relaxed);
    std::wstring fate = std::to_wstring(written) + L" written, " + std::to_wstring(lost) + L" lost";
    if (const int error = errorOf(*attached.sink, attached.lastError)) {
        fate += L"; last error: " + tolvane::errorText(error);
    }
    if (attached.isFaulty) {
        fate += L"; it has faulted, and gets no more lines";
    }
    return fate;
}
