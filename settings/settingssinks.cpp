#include "settings/settingssinks.h"

#include <tolvane/jsontracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "sinks/fileid.h"
#include "support/standarderror.h"
#include "support/utf8.h"
#include "support/view.h"

#include <cstdint>
#include <iostream>

namespace tolvane {

SettingsSinks::SettingsSinks() : m_output(std::cout), m_error(std::cerr) {}

std::unique_ptr<tracestream> SettingsSinks::make(const destination& to) const
{
    if (to.kind == destination::standardOutput) {
        return std::unique_ptr<tracestream>(m_output.clone());
    }
    if (to.kind == destination::standardError) {
        return std::unique_ptr<tracestream>(m_error.clone());
    }
    std::unique_ptr<filetracestream> made = makeFile(to);
    made->m_nameIsUtf8 = true;
    return made;
}

std::unique_ptr<filetracestream> SettingsSinks::makeFile(const destination& to)
{
    switch (to.kind) {
    case destination::rotatingFile:
        return std::make_unique<rotatingfilestracestream>(to.path, to.files, to.maxsize, 0);
    case destination::jsonFile:
        return std::make_unique<jsontracestream>(to.path);
    default:
        return std::make_unique<filetracestream>(to.path);
    }
}

unsigned long long SettingsSinks::idOf(const destination& to) noexcept
{
    switch (to.kind) {
    case destination::standardOutput:
        return reinterpret_cast<std::uintptr_t>(&std::cout);
    case destination::standardError:
        return reinterpret_cast<std::uintptr_t>(&std::cerr);
    default:
        return idOfFile(to.path);
    }
}

void complain(std::wstring_view source, const std::wstring& wrong)
{
    std::wstring text = L"tolvane: ";
    text.append(source).append(L": ").append(wrong);
    const string safe = escaped(string(text));
    std::string bytes;
    utf8::appendNarrow(bytes, view(safe));
    bytes += '\n';
    writeStandardError(bytes.data(), bytes.size());
}

} // namespace tolvane
