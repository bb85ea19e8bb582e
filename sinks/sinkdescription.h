#pragma once

#include <tolvane/tracestream.h>

#include "sinks/attachedsink.h"

#include <string>

/// Tells people about an attached sink: where its lines go, its levels, and what became of them.
class sinkdescription
{
public:
    /// Appends a line. Calls nothing of the application's. Caller holds the dispatcher's instance
    /// lock. Throws std::bad_alloc only.
    static void append(std::wstring& to, const attachedsink& attached);

private:
    static std::wstring destinationOf(const tracestream& sink, unsigned long long id);
    static std::wstring recorderOf(const tracestream& recorder);
    static std::wstring pathOf(const tracestream& file);
    static std::wstring limitsOf(const tracestream& file);
    static std::wstring levelsOf(const tracestream& sink);
    static int errorOf(const tracestream& sink, int ofFile);
    static std::wstring fateOf(const attachedsink& attached);
};
