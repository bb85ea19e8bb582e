#include "sinks/sinkdescription.h"

#include <tolvane/filetracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "function/functiontree.h"
#include "settings/levelsettings.h"
#include "sinks/linerecorder.h"
#include "sinks/platformsinks.h"
#include "sinks/recorderfile.h"
#include "sinks/rotation.h"
#include "support/errortext.h"
#include "support/hexdigits.h"
#include "support/view.h"

#include <cstdint>
#include <iostream>
#include <limits>

namespace {

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
    sinkdescription line(to);
    line.putDestination(*attached.sink, attached.id);
    line.put(L": ");
    line.putLevels(*attached.sink);
    line.put(L"; ");
    line.putFate(attached);
    line.put(L"\n");
}

void sinkdescription::put(std::wstring_view text)
{
    m_text += text;
}

void sinkdescription::put(unsigned long long number)
{
    put(std::to_wstring(number));
}

void sinkdescription::putHexadecimal(unsigned long long number)
{
    constexpr int bits = std::numeric_limits<unsigned long long>::digits;
    put(L"0x");
    int shift = 0;
    while (shift + 4 < bits && number >> (shift + 4) != 0) {
        shift += 4;
    }
    for (; shift >= 0; shift -= 4) {
        m_text += static_cast<wchar_t>(tolvane::hexDigit(number >> shift));
    }
}

void sinkdescription::putDestination(const tracestream& sink, unsigned long long id)
{
    switch (sink.m_kind) {
    case tracestream::sk_stream:
        return putStream(id);
    case tracestream::sk_file:
        return putPath(sink);
    case tracestream::sk_rotatingfile:
        put(L"rotating ");
        putPath(sink);
        return putLimits(sink);
    case tracestream::sk_recorder:
        return putRecorder(sink);
    case tracestream::sk_recorderfile:
        return putRecorderFile(sink);
    case tracestream::sk_custom:
        break;
    }
    put(L"sink ");
    putHexadecimal(id);
}

void sinkdescription::putStream(unsigned long long id)
{
    if (const wchar_t* const standard = standardStream(id)) {
        put(standard);
    } else if (const wchar_t* const platform = platformDestination(id)) {
        put(platform);
    } else {
        put(L"stream ");
        putHexadecimal(id);
    }
}

void sinkdescription::putRecorder(const tracestream& recorder)
{
    const recordertracestream::Impl& impl =
        *static_cast<const recordertracestream&>(recorder).m_recorder;
    put(L"recorder of ");
    put(impl.m_capacity);
    put(L" lines before ");
    put(tolvane::levelsettings::nameOf(impl.m_level));
    put(L" to ");
    putDestination(*impl.m_sink, impl.sinkId());
}

void sinkdescription::putRecorderFile(const tracestream& recorder)
{
    const recorderfiletracestream::Impl& file =
        *static_cast<const recorderfiletracestream&>(recorder).m_file;
    put(L"recorder file ");
    put(tolvane::view(file.m_filename));
    put(L" (");
    put(file.m_kib);
    put(L" KiB)");
}

void sinkdescription::putPath(const tracestream& file)
{
    const auto& sink = static_cast<const filetracestream&>(file);
    put(sink.m_format == filetracestream::ff_json ? L"JSON file " : L"file ");
    put(tolvane::view(sink.filename()));
}

void sinkdescription::putLimits(const tracestream& file)
{
    const rotatingfilestracestream::Impl& limits =
        *static_cast<const rotatingfilestracestream&>(file).m_rotation;
    put(L" (");
    put(limits.m_files);
    put(L" of ");
    put(limits.m_maxsize);
    put(L" KiB");
    if (limits.m_maxdays != 0) {
        put(L", ");
        put(limits.m_maxdays);
        put(L" days");
    }
    put(L")");
}

void sinkdescription::putLevels(const tracestream& sink)
{
    for (const auto& each : sink.m_levels->all()) {
        if (each.first.empty()) { // the first one
            put(L"*");
        } else {
            put(L", ");
            put(each.first);
        }
        put(L"=");
        put(tolvane::levelsettings::nameOf(each.second));
    }
}

void sinkdescription::putFate(const attachedsink& attached)
{
    unsigned long long lost = 0;
    for (const auto& reason : attached.counts.lost) {
        lost += reason.load(std::memory_order_relaxed);
    }
    put(attached.counts.written.load(std::memory_order_relaxed));
    put(L" written, ");
    put(lost);
    put(L" lost");
    if (const int error = errorOf(*attached.sink, attached.lastError)) {
        put(L"; last error: ");
        put(tolvane::errorText(error));
    }
    if (attached.isFaulty) {
        put(L"; it has faulted, and gets no more lines");
    }
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
