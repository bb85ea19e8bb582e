#include <tolvane/traceobject.h>

#include <tolvane/formattedline.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/scope.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "stacktrace/callstack.h"
#include "support/atomicref.h"
#include "trace/traceimpl.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <typeinfo>

namespace {

/// Characters that are looked through for a NUL at a time.
constexpr std::streamsize longestChunk = 0xA00000;

void queueMarker(const hashedfunction& function, formattedline::type_t type)
{
    traceimpl& dispatcher = safesingleton<traceimpl>::instance();
    const lockobject lock(dispatcher.m_instanceMutex);
    dispatcher.queueMarker(function, type);
}

} // namespace

/// Two threads may enter a function for the first time at once: the lock decides which of them
/// registers it.
const hashedfunction* traceobject::registerOnce(const hashedfunction*& function,
                                                const char* signature)
{
    std::atomic<const hashedfunction*>& shared = tolvane::atomicRef(function);
    const lockobject lock(safesingleton<traceimpl>::instance().m_instanceMutex);
    const hashedfunction* known = shared.load(std::memory_order_acquire);
    if (!known) {
        known = &trace::registerfunction(signature);
        shared.store(known, std::memory_order_release);
    }
    return known;
}

traceobject::~traceobject()
{
    try {
        stacktrace::myTrace().pop();
    } catch (...) {
        // no memory to find this thread's stack: a scope that another thread opened is not on it
    }
    if (takes(tl_trace)) {
        queueExit();
    }
}

void traceobject::queueEntry()
{
    try {
        queueMarker(*m_function, formattedline::tt_starting);
    } catch (...) {
        stacktrace::up(); // the destructor of what was not constructed will not
        throw;
    }
}

void traceobject::queueExit() noexcept
{
    try {
        queueMarker(*m_function, formattedline::tt_exiting);
    } catch (...) {
        // no memory for the exit line: it is dropped
    }
}

void traceobject::reset()
{
    m_level = trace::level(*m_function);
}

traceobject::int_type traceobject::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()) || c == L'\n' || c == L'\r') {
        endLine();
    } else {
        const wchar_t character = traits_type::to_char_type(c);
        append(&character, 1);
    }
    return c;
}

std::streamsize traceobject::xsputn(const wchar_t* text, std::streamsize count)
{
    for (std::streamsize done = 0; done < count; done += longestChunk) {
        append(text + done, static_cast<unsigned long long>(std::min(count - done, longestChunk)));
    }
    return count;
}

/// Appends the characters before the first NUL, which is how tolvane::string counts.
void traceobject::append(const wchar_t* text, unsigned long long count)
{
    m_line.append(text, count);
}

/// A NUL ends the text. Text of ASCII characters converts to itself in every locale; other text is
/// the C library's business.
void traceobject::insertNarrow(const char* text, std::size_t count)
{
    constexpr unsigned char lastAscii = 0x7F;
    const auto isPlain = [](char c) {
        return c != 0 && static_cast<unsigned char>(c) <= lastAscii;
    };
    const auto plain =
        static_cast<std::size_t>(std::find_if_not(text, text + count, isPlain) - text);
    if (insertsUnchanged() && (plain == count || text[plain] == 0)) {
        appendPlain(text, plain);
    } else {
        *this << tolvane::string(std::string(text, count).c_str());
    }
}

/// Writes a number as the stream would by default.
/// \return false, with nothing written, when the stream would write it in another way.
bool traceobject::insertPlainNumber(bool negative, unsigned long long magnitude)
{
    if (!insertsUnchanged() || (flags() & (basefield | showpos)) != dec || !hasPlainNumbers()) {
        return false;
    }
    constexpr unsigned int base = 10;
    std::size_t length = negative ? 2 : 1;
    for (unsigned long long rest = magnitude; rest >= base; rest /= base) {
        ++length;
    }
    wchar_t* first = nullptr;
    try {
        first = m_line.extend(length);
    } catch (...) {
        return false; // what follows from that is the stream's business, too
    }
    first[0] = L'-';
    wchar_t* to = first + length;
    do {
        *--to = static_cast<wchar_t>(L'0' + magnitude % base);
        magnitude /= base;
    } while (magnitude != 0);
    return true;
}

/// Whether a text that is inserted arrives in the line as it stands, and nothing else happens.
bool traceobject::insertsUnchanged() const
{
    return width() == 0 && good() && !tie() && rdbuf() == this &&
           typeid(*this) == typeid(traceobject);
}

void traceobject::appendPlain(const char* text, std::size_t count)
{
    std::copy_n(text, count, m_line.extend(count));
}

/// Without memory for its record, the line's text is dropped: the next line is whole.
void traceobject::endLine()
{
    try {
        traceimpl& dispatcher = safesingleton<traceimpl>::instance();
        const lockobject lock(dispatcher.m_instanceMutex);
        dispatcher.queueLine(m_lineLevel, *m_function, m_line);
    } catch (...) {
        m_line.erase(tolvane::string::npos);
        throw;
    }
}

void traceobject::writeText(const tolvane::string& text)
{
    xsputn(text.c_str(), static_cast<std::streamsize>(text.length()));
}

void traceobject::logtosplit(tolvane::string& format)
{
    for (const wchar_t* mark = std::wcschr(format.c_str(), L'%'); mark && mark[1] != 0;
         mark = std::wcschr(format.c_str(), L'%')) {
        const auto before = static_cast<unsigned long long>(mark - format.c_str());
        const bool doubled = mark[1] == L'%';
        xsputn(format.c_str(), static_cast<std::streamsize>(before));
        format.erase(before + 2);
        if (!doubled) {
            return;
        }
        xsputn(L"%%", 2); // both are kept
    }
    if (format.empty()) {
        xsputn(L" ", 1);
    } else {
        writeText(format);
    }
    format.erase(tolvane::string::npos);
}

const wchar_t* traceobject::logtosplitchar(const wchar_t* format, unsigned long long& length)
{
    const wchar_t* mark = std::wcschr(format, L'%');
    while (mark && length != 0 && static_cast<unsigned long long>(mark - format) < length - 1) {
        const auto before = static_cast<unsigned long long>(mark - format);
        const bool doubled = mark[1] == L'%';
        xsputn(format, static_cast<std::streamsize>(before));
        length -= before + 2;
        format = mark + 2;
        if (!doubled) {
            return format;
        }
        xsputn(L"%%", 2);
        mark = std::wcschr(format, L'%');
    }
    xsputn(format, static_cast<std::streamsize>(length));
    if (length == 0 || !mark) {
        xsputn(L" ", 1);
    }
    length = 0;
    return format;
}
