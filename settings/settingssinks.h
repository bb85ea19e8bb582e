#pragma once

#include <tolvane/consoletracestream.h>
#include <tolvane/filetracestream.h>

#include "settings/destination.h"

#include <memory>
#include <string>
#include <string_view>

namespace tolvane {

/// Makes sinks for the destinations of settings. Any thread may use it.
class SettingsSinks
{
public:
    /// Asks the environment for colours, which nobody may change meanwhile: made in a call of the
    /// application's, so that the writer need not ask.
    SettingsSinks();

    std::unique_ptr<tracestream> make(const destination& to) const;

    /// Of what make() makes.
    static unsigned long long idOf(const destination& to) noexcept;

private:
    static std::unique_ptr<filetracestream> makeFile(const destination& to);

    const consoletracestream m_output;
    const consoletracestream m_error;
};

/// Tells on standard error, in a line of UTF-8, what is wrong with settings.
/// \param source  what they were read from.
void complain(std::wstring_view source, const std::wstring& wrong);

} // namespace tolvane
