#pragma once

#include <tolvane/tracestream.h>

#include "settings/destination.h"

#include <memory>
#include <string>
#include <string_view>

namespace tolvane {

/// A sink for the destination.
std::unique_ptr<tracestream> makeSink(const destination& to);

/// Tells on standard error, in a line of UTF-8, what is wrong with settings.
/// \param source  what they were read from.
void complain(std::wstring_view source, const std::wstring& wrong);

} // namespace tolvane
