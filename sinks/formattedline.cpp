#include <tolvane/formattedline.h>

#include <tolvane/hashedfunction.h>

#include "sinks/timestamp.h"
#include "support/clock.h"
#include "support/threadid.h"

#include <cwchar>

namespace {

constexpr wchar_t levelLetters[] = L"!EWIVDT";
constexpr std::size_t narrowestThreadId = 4; ///< characters, filled with blanks on the left

std::wstring hexadecimal(unsigned long long number)
{
    wchar_t digits[2 * sizeof number + 1];
    const int count = std::swprintf(digits, sizeof digits / sizeof *digits, L"%llx", number);
    return std::wstring(digits, static_cast<std::size_t>(count));
}

std::wstring padded(const std::wstring& text, std::size_t width)
{
    return text.size() < width ? std::wstring(width - text.size(), L' ') + text : text;
}

void append(std::wstring& to, const tolvane::string& text)
{
    to.append(text.c_str(), static_cast<std::size_t>(text.length()));
}

} // namespace

formattedline::formattedline(tracelevel_t level, const hashedfunction& function,
                             tolvane::string& text)
    : m_function(&function),
      m_level(level),
      m_time(tolvane::Clock::current().localMilliseconds()),
      m_type(tt_text),
      m_threadid(tolvane::currentThreadId())
{
    m_text.swapText(text);
}

formattedline::formattedline(tracelevel_t level, const hashedfunction& function, type_t type)
    : m_function(&function),
      m_level(level),
      m_time(tolvane::Clock::current().localMilliseconds()),
      m_type(type),
      m_threadid(tolvane::currentThreadId())
{}

formattedline::formattedline(const formattedline& other) = default;

formattedline::~formattedline() = default;

formattedline& formattedline::operator=(const formattedline& other)
{
    if (this != &other) {
        m_text = other.m_text;
        m_level = other.m_level;
        m_time = other.m_time;
    }
    return *this;
}

formattedline::operator tolvane::string() const
{
    if (m_formatted.empty()) {
        m_formatted = render();
    }
    return m_formatted;
}

wchar_t formattedline::levelChar() const
{
    return m_level >= tl_always && m_level <= tl_trace ? levelLetters[m_level]
                                                       : levelLetters[tl_always];
}

tolvane::string formattedline::render() const
{
    std::wstring text = L"[";
    append(text, formatTime(m_time, tolvane::string()));
    text += L"]:";
    text += padded(hexadecimal(m_threadid), narrowestThreadId);
    text += L":[";
    text += levelChar();
    text += L"]: ";
    append(text, m_function->name());
    text += L" : ";
    switch (m_type) {
    case tt_starting:
        text += L"starting";
        break;
    case tt_exiting:
        text += L"exiting";
        break;
    case tt_text:
        append(text, m_text);
        break;
    }
    return text.c_str();
}
