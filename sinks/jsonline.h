#pragma once

#include <tolvane/formattedline.h>

#include "sinks/timestamp.h"

#include <string>

/// Appends a line as a JSON object in UTF-8, and a line feed.
///
/// \param localMilliseconds  the line's time as the local wall clock showed it, since 1970.
/// \param stamp              shows it. Many lines share the stamp of their second.
void appendJsonLine(std::string& bytes, const formattedline& line,
                    unsigned long long localMilliseconds, timestamp& stamp);
