#pragma once

#include <tolvane/tracestream.h>

#include "sinks/attachedsink.h"

#include <string>
#include <string_view>

/// Tells people about an attached sink: where its lines go, its levels, and what became of them.
class sinkdescription
{
public:
    /// Appends a line. Calls nothing of the application's. Caller holds the dispatcher's instance
    /// lock. Throws std::bad_alloc only.
    static void append(std::wstring& to, const attachedsink& attached);

private:
    explicit sinkdescription(std::wstring& text) : m_text(text) {}

    void put(std::wstring_view text);
    void put(unsigned long long number);
    void putHexadecimal(unsigned long long number);
    void putDestination(const tracestream& sink, unsigned long long id);
    void putStream(unsigned long long id);
    void putRecorder(const tracestream& recorder);
    void putRecorderFile(const tracestream& recorder);
    void putPath(const tracestream& file);
    void putLimits(const tracestream& file);
    void putLevels(const tracestream& sink);
    void putFate(const attachedsink& attached);
    static int errorOf(const tracestream& sink, int ofFile);

    std::wstring& m_text;
};
