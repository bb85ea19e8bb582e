#include <tolvane/formattedline.h>

#include <tolvane/hashedfunction.h>

#include "sinks/timestamp.h"
#include "support/clock.h"
#include "support/hexdigits.h"
#include "support/levelnames.h"
#include "support/threadid.h"
#include "support/view.h"

#include <algorithm>
#include <string_view>

using namespace std::string_view_literals;

namespace {

constexpr int narrowestThreadId = 4; ///< characters, filled with blanks on the left

constexpr std::wstring_view startingBody = L"starting";
constexpr std::wstring_view exitingBody = L"exiting";

/// Characters of a line beside time stamp, thread id, function name and body: "[", "]:", ":[",
/// letter, "]: ", " : ".
constexpr std::size_t fixedCharacters = 12;

int hexadecimalDigits(unsigned long long number)
{
    int digits = 1;
    while (number >>= 4) {
        ++digits;
    }
    return digits;
}

/// Writes pieces one after another into a text of sufficient length.
class linewriter
{
public:
    explicit linewriter(wchar_t* to) : m_to(to) {}

    void write(std::wstring_view text) { m_to = std::copy(text.begin(), text.end(), m_to); }

    void write(wchar_t character) { *m_to++ = character; }

    void writeHexadecimal(unsigned long long number, int width)
    {
        for (int shift = (width - 1) * 4; shift >= 0; shift -= 4) {
            const unsigned long long rest = number >> shift;
            *m_to++ =
                rest == 0 && shift != 0 ? L' ' : static_cast<wchar_t>(tolvane::hexDigit(rest));
        }
    }

private:
    wchar_t* m_to;
};

} // namespace

formattedline::formattedline()
    : m_function(nullptr), m_level(tl_always), m_time(0), m_type(tt_text), m_threadid(0), m_utc(0)
{}

formattedline::formattedline(tracelevel_t level, const hashedfunction& function,
                             tolvane::string& text)
    : formattedline(level, function, tt_text)
{
    m_text.swapText(text);
}

formattedline::formattedline(tracelevel_t level, const hashedfunction& function, type_t type)
    : m_function(&function),
      m_level(level),
      m_time(tolvane::Clock::current().localMilliseconds()),
      m_type(type),
      m_threadid(tolvane::currentThreadId()),
      m_utc(tolvane::Clock::current().utcOf(m_time, tolvane::Clock::current().utcNanoseconds()))
{}

formattedline::formattedline(const formattedline& other) = default;

formattedline::~formattedline() = default;

formattedline& formattedline::operator=(const formattedline& other)
{
    if (this != &other) {
        m_text = other.m_text;
        m_level = other.m_level;
        m_time = other.m_time;
        m_utc = other.m_utc;
    }
    return *this;
}

formattedline::operator tolvane::string() const
{
    return rendered();
}

const tolvane::string& formattedline::function() const noexcept
{
    return m_function->name();
}

const tolvane::string& formattedline::rendered() const
{
    timestamp stamp;
    return rendered(stamp);
}

const tolvane::string& formattedline::rendered(timestamp& stamp) const
{
    if (m_formatted.empty()) {
        render(m_formatted, stamp);
    }
    return m_formatted;
}

wchar_t formattedline::levelChar() const
{
    return static_cast<wchar_t>(tolvane::nameOf(m_level).letter);
}

/// The length is known before the first character is written, so that the text needs one buffer at
/// most.
void formattedline::render(tolvane::string& text, timestamp& stamp) const
{
    const std::wstring_view time = stamp.show(m_time);
    const int threadDigits = std::max(hexadecimalDigits(m_threadid), narrowestThreadId);
    const std::wstring_view name = view(m_function->name());
    const std::wstring_view body = m_type == tt_starting  ? startingBody
                                   : m_type == tt_exiting ? exitingBody
                                   : m_type == tt_text    ? view(m_text)
                                                          : std::wstring_view();
    const std::size_t length = fixedCharacters + time.size() +
                               static_cast<std::size_t>(threadDigits) + name.size() + body.size();
    linewriter line(text.overwrite(length));
    line.write(L'[');
    line.write(time);
    line.write(L"]:"sv);
    line.writeHexadecimal(m_threadid, threadDigits);
    line.write(L":["sv);
    line.write(levelChar());
    line.write(L"]: "sv);
    line.write(name);
    line.write(L" : "sv);
    line.write(body);
}
