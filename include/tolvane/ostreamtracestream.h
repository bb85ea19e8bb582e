#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/noncopyable.h>
#include <tolvane/tracestream.h>

#include <cstdint>
#include <cstring>
#include <ostream>

/// A sink that writes to a standard stream that somebody else owns, such as std::cout, and flushes
/// it after every line. The stream must live until the sink is removed or the process ends.
///
/// Text goes through the C library's conversion in the process's current locale, and as many bytes
/// are written as the line has wide characters: characters of several bytes cost the line its end.
/// After trace::useUtf8() it is written in UTF-8, and whole. A wide stream converts by itself.
template <class char_t>
class ostreamtracestream : public tracestream, public tolvane::nonassignable_::nonassignable
{
public:
    explicit ostreamtracestream(std::basic_ostream<char_t>& stream) : m_stream(&stream) {}

    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        write(*m_stream, text);
        m_stream->put(m_stream->widen('\n'));
        m_stream->flush();
    }

    /// The address of the stream.
    unsigned long long id() const override { return reinterpret_cast<std::uintptr_t>(m_stream); }

    ostreamtracestream* clone() const override
    {
        auto* const cloned = new ostreamtracestream(*m_stream);
        cloned->m_kind = tracestream::sk_stream;
        return cloned;
    }

private:
    static void write(std::basic_ostream<char>& stream, const tolvane::string& text)
    {
        const char* const bytes = text.narrow();
        const unsigned long long count = std::strlen(bytes);
        const bool isWhole = count < text.length() || tolvane::string::narrowIsUtf8();
        stream.write(bytes, static_cast<std::streamsize>(isWhole ? count : text.length()));
    }

    static void write(std::basic_ostream<wchar_t>& stream, const tolvane::string& text)
    {
        stream.write(text.c_str(), static_cast<std::streamsize>(text.length()));
    }

    std::basic_ostream<char_t>* m_stream; ///< not owned
};
