#pragma once

#include <tolvane/formattedline.h>

#include <string>

/// Makes lines and looks into them, which only the dispatcher does otherwise.
struct formattedlinetest
{
    /// Takes the text over, as the dispatcher does.
    static formattedline text(tracelevel_t level, const hashedfunction& function,
                              tolvane::string& text)
    {
        return formattedline(level, function, text);
    }

    static formattedline text(tracelevel_t level, const hashedfunction& function,
                              const wchar_t* body)
    {
        tolvane::string taken(body);
        return formattedline(level, function, taken);
    }

    static formattedline marker(tracelevel_t level, const hashedfunction& function,
                                formattedline::type_t type)
    {
        return formattedline(level, function, type);
    }

    static void assign(formattedline& to, const formattedline& from) { to = from; }

    static wchar_t levelChar(const formattedline& line) { return line.levelChar(); }

    static tolvane::string& formatted(const formattedline& line) { return line.m_formatted; }
    static const hashedfunction*& function(formattedline& line) { return line.m_function; }
    static tolvane::string& body(formattedline& line) { return line.m_text; }
    static tracelevel_t& level(formattedline& line) { return line.m_level; }
    static tracelevel_t level(const formattedline& line) { return line.m_level; }
    static unsigned long long& time(formattedline& line) { return line.m_time; }
    static formattedline::type_t& type(formattedline& line) { return line.m_type; }
    static long long& utc(formattedline& line) { return line.m_utc; }
    static tolvane::string& threadName(formattedline& line) { return line.m_threadName; }
    static unsigned long long& threadId(formattedline& line) { return line.m_threadid; }

    /// The rendered line.
    static std::wstring render(const formattedline& line)
    {
        const tolvane::string rendered = line;
        return std::wstring(rendered.c_str(), static_cast<std::size_t>(rendered.length()));
    }
};
