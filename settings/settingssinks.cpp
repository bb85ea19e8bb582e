#include "settings/settingssinks.h"

#include <tolvane/consoletracestream.h>
#include <tolvane/filetracestream.h>
#include <tolvane/jsontracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "support/standarderror.h"
#include "support/utf8.h"

#include <iostream>

namespace tolvane {

std::unique_ptr<tracestream> makeSink(const destination& to)
{
    switch (to.kind) {
    case destination::file:
        return std::make_unique<filetracestream>(to.path);
    case destination::rotatingFile:
        return std::make_unique<rotatingfilestracestream>(to.path, to.files, to.maxsize, 0);
    case destination::jsonFile:
        return std::make_unique<jsontracestream>(to.path);
    case destination::standardOutput:
        return std::make_unique<consoletracestream>(std::cout);
    case destination::standardError:
        break;
    }
    return std::make_unique<consoletracestream>();
}

void complain(std::wstring_view source, const std::wstring& wrong)
{
    std::wstring text = L"tolvane: ";
    text.append(source).append(L": ").append(wrong);
    const string safe = escaped(string(text));
    std::string bytes;
    utf8::appendNarrow(bytes, {safe.c_str(), static_cast<std::size_t>(safe.length())});
    bytes += '\n';
    writeStandardError(bytes.data(), bytes.size());
}

} // namespace tolvane
