#pragma once

#include <tolvane/traceobject.h>

/// Reaches what the library's own formatting code reaches.
struct traceobjecttest
{
    static const hashedfunction* function(const traceobject& scope) { return scope.m_function; }
    static std::wstring line(const traceobject& scope) { return scope.m_line.c_str(); }
    static tracelevel_t lineLevel(const traceobject& scope) { return scope.m_lineLevel; }
    static void setLevel(traceobject& scope, tracelevel_t level) { scope.setLevel(level); }

    static traceobject::int_type overflow(traceobject& scope, traceobject::int_type character)
    {
        return scope.overflow(character);
    }

    static std::streamsize xsputn(traceobject& scope, const wchar_t* text, std::streamsize count)
    {
        return scope.xsputn(text, count);
    }

    static void logtosplit(traceobject& scope, tolvane::string& format)
    {
        scope.logtosplit(format);
    }

    static const wchar_t* logtosplitchar(traceobject& scope, const wchar_t* format,
                                         unsigned long long& length)
    {
        return scope.logtosplitchar(format, length);
    }
};
