// Traces a text with each of many characters, whole ones and halves, to the file of objects that
// the argument names: "41:A". A test reads the file with another program.

#include <tolvane/tolvane.h>

#include <cstdio>
#include <string>

namespace {

/// In UTF-16 where that is the platform's.
std::wstring wide(unsigned long code)
{
    if (sizeof(wchar_t) > 2 || code <= 0xFFFF) {
        return std::wstring(1, static_cast<wchar_t>(code));
    }
    return {static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10)),
            static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF))};
}

void traceCharacters(unsigned long first, unsigned long last)
{
    TOLVANE_SCOPE(log);
    for (unsigned long code = first; code <= last; ++code) {
        if (code != L'\n' && code != L'\r') { // they end a line
            char number[16];
            std::snprintf(number, sizeof number, "%lx:", code);
            TOLVANE_LOG(log, tl_info) << number << wide(code);
        }
        if (code % 500 == 0) {
            trace::sync(10000);
        }
    }
}

} // namespace

int main(int, char** arguments)
{
    const tolvane::FlushGuard guard;
    trace::output(jsontracestream(arguments[1])).setLevel(tl_trace);
    trace::nameThread(L"\"\\\x1b\xE9");
    traceCharacters(1, 0x2FF);
    traceCharacters(0x2028, 0x2029);
    traceCharacters(0xD7F0, 0xE010);
    traceCharacters(0xFDD0, 0xFDD0);
    traceCharacters(0xFEFF, 0xFEFF);
    traceCharacters(0xFFF0, 0x10010);
    traceCharacters(0x10FFF0, 0x10FFFF);
}
