#include <tolvane/consoletracestream.h>

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/scriptedterminals.h"
#include "tests/helpers/sinkset.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>

namespace {

const hashedfunction& function()
{
    static const hashedfunction registered("void f(int)");
    return registered;
}

formattedline lineOf(tracelevel_t level, const wchar_t* text = L"text")
{
    formattedline line = formattedlinetest::text(level, function(), text);
    formattedlinetest::time(line) = 0;
    formattedlinetest::threadId(line) = 1;
    return line;
}

std::string plain(char level, const std::string& text = "text")
{
    return std::string("[1970-01-01 00:00:00.000]:   1:[") + level + "]: f : " + text;
}

/// A standard output that is a terminal, in memory.
struct terminaltest
{
    terminaltest() { terminals.output = stream.rdbuf(); }

    std::string shown(consoletracestream& sink, tracelevel_t level = tl_error)
    {
        stream.str("");
        sink.log(lineOf(level));
        return stream.str();
    }

    /// Lines that are neither are not coloured, and fail in another test.
    bool isColoured(consoletracestream& sink)
    {
        return shown(sink) == "\x1b[31m" + plain('E') + "\x1b[0m\n";
    }

    bool isPlain(consoletracestream& sink) { return shown(sink) == plain('E') + "\n"; }

    /// As a sink has it that is made now.
    bool isColoured()
    {
        consoletracestream sink(stream);
        return isColoured(sink);
    }

    scriptedterminals terminals;
    std::ostringstream stream;
};

/// Takes so many bytes, and can be flushed or not.
class limitedbuffer : public std::streambuf
{
public:
    std::string taken;
    std::size_t room = 0;
    bool isFlushed = true;

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override
    {
        const std::size_t fits = std::min(room, static_cast<std::size_t>(count));
        taken.append(bytes, fits);
        room -= fits;
        return static_cast<std::streamsize>(fits);
    }

    int sync() override { return isFlushed ? 0 : -1; }
};

/// Looks at a file when it is flushed for the first time.
class lookingbuffer : public std::stringbuf
{
public:
    explicit lookingbuffer(const temporaryfolder& folder) : m_folder(folder) {}

    std::string seen;

protected:
    int sync() override
    {
        seen = seen.empty() ? m_folder.read("trace.log") : seen;
        return 0;
    }

private:
    const temporaryfolder& m_folder;
};

linebatch batchOf(std::initializer_list<const wchar_t*> texts)
{
    linebatch batch;
    for (const wchar_t* const text : texts) {
        batch.add(lineOf(tl_info, text));
    }
    return batch;
}

} // namespace

TEST_CASE("lines on a terminal are coloured by their level", "[sinks][console]")
{
    terminaltest test;
    consoletracestream sink(test.stream);

    CHECK(test.shown(sink, tl_always) == "\x1b[1m" + plain('!') + "\x1b[0m\n");
    CHECK(test.shown(sink, tl_error) == "\x1b[31m" + plain('E') + "\x1b[0m\n");
    CHECK(test.shown(sink, tl_warning) == "\x1b[33m" + plain('W') + "\x1b[0m\n");
    CHECK(test.shown(sink, tl_info) == plain('I') + "\n");
    CHECK(test.shown(sink, tl_verbose) == plain('V') + "\n");
    CHECK(test.shown(sink, tl_debug) == "\x1b[90m" + plain('D') + "\x1b[0m\n");
    CHECK(test.shown(sink, tl_trace) == "\x1b[90m" + plain('T') + "\x1b[0m\n");
}

TEST_CASE("a stream that leads to no terminal, or is none of the process's, has no colours",
          "[sinks][console]")
{
    terminaltest test;
    consoletracestream sink(test.stream);
    CHECK(test.isColoured(sink));

    test.terminals.outputIsTerminal = false; // looked at with every line
    CHECK(test.isPlain(sink));

    test.terminals.outputIsTerminal = true;
    test.terminals.output = nullptr;
    CHECK(test.isPlain(sink));
}

TEST_CASE("the environment can do without colours, or force them", "[sinks][console]")
{
    const struct
    {
        std::map<std::string, std::string> variables;
        bool onTerminal;
        bool elsewhere;
    } table[] = {
        {{}, true, false},
        {{{"TERM", "xterm"}}, true, false},
        {{{"TERM", "dumb"}}, false, false},
        {{{"NO_COLOR", "1"}}, false, false},
        {{{"NO_COLOR", "0"}}, false, false},
        {{{"NO_COLOR", ""}}, true, false},
        {{{"FORCE_COLOR", "1"}}, true, true},
        {{{"FORCE_COLOR", "yes"}, {"TERM", "dumb"}}, true, true},
        {{{"FORCE_COLOR", "0"}}, false, false},
        {{{"FORCE_COLOR", ""}}, true, false},
        {{{"FORCE_COLOR", "1"}, {"NO_COLOR", "1"}}, false, false},
    };

    for (const auto& line : table) {
        CAPTURE(line.variables);
        terminaltest test;
        test.terminals.variables = line.variables;
        CHECK(test.isColoured() == line.onTerminal);
        test.terminals.outputIsTerminal = false;
        CHECK(test.isColoured() == line.elsewhere);
        test.terminals.output = nullptr;
        CHECK_FALSE(test.isColoured());
    }
}

TEST_CASE("a clone has the colours that the environment gave the sink", "[sinks][console]")
{
    terminaltest test;
    test.terminals.variables["NO_COLOR"] = "1";
    const consoletracestream sink(test.stream);
    test.terminals.variables.clear();

    const std::unique_ptr<consoletracestream> clone(sink.clone());

    CHECK(test.isPlain(*clone));
    CHECK(test.isColoured());
}

TEST_CASE("a console sink has the id of a stream sink of its stream", "[sinks][console]")
{
    CHECK(consoletracestream().id() == ostreamtracestream<char>(std::cerr).id());
    CHECK(consoletracestream(std::cout).id() == ostreamtracestream<char>(std::cout).id());
    const std::unique_ptr<consoletracestream> clone(consoletracestream(std::cout).clone());
    CHECK(clone->id() == consoletracestream(std::cout).id());
}

TEST_CASE("the state of a console sink's stream counts for nothing and stays", "[sinks][console]")
{
    std::ostringstream stream;
    stream.setstate(std::ios_base::badbit | std::ios_base::eofbit);
    const auto state = stream.rdstate();
    consoletracestream sink(stream);

    sink.log(lineOf(tl_info));

    CHECK(stream.str() == plain('I') + "\n");
    CHECK(stream.rdstate() == state);
}

TEST_CASE("a line that a console does not take is lost, and the next one is tried",
          "[sinks][console]")
{
    limitedbuffer buffer;
    std::ostream stream(&buffer);
    sinkset sinks;
    sinks.add<consoletracestream>(tl_info, stream);
    const linebatch line = batchOf({L"text"});
    const sinkcounts& counts = sinks.counts(1);

    buffer.room = 10;
    sinks.write(line);
    CHECK(counts.lost[trace::destination] == 1);
    buffer.room = 1000;
    buffer.isFlushed = false;
    sinks.write(line);
    CHECK(counts.lost[trace::destination] == 2);
    buffer.isFlushed = true;
    stream.rdbuf(nullptr);
    sinks.write(line);
    CHECK(counts.lost[trace::destination] == 3);

    stream.rdbuf(&buffer);
    buffer.taken.clear();
    sinks.write(line);
    CHECK(counts.lost[trace::destination] == 3);
    CHECK(counts.written == 1);
    CHECK(buffer.taken == plain('I') + "\n");
}

TEST_CASE("files have all lines of a pass before a console gets its first", "[sinks][console]")
{
    const temporaryfolder folder;
    lookingbuffer buffer(folder);
    std::ostream stream(&buffer);
    sinkset sinks;
    sinks.add<consoletracestream>(tl_info, stream);
    sinks.add<filetracestream>(tl_info, folder.file("trace.log"));

    sinks.write(batchOf({L"one", L"two"}));

    CHECK(buffer.seen == plain('I', "one") + "\r\n" + plain('I', "two") + "\r\n");
    CHECK(buffer.str() == plain('I', "one") + "\n" + plain('I', "two") + "\n");
}

TEST_CASE("a console gets lines whole, in the encoding of the process's locale", "[sinks][console]")
{
    const localeguard guard;
    const multibytelocale locale;
    std::ostringstream stream;
    consoletracestream sink(stream);
    const std::wstring text = std::wstring(locale.character) + L"!";

    sink.log(lineOf(tl_info, text.c_str()));

    CHECK(stream.str() == plain('I', locale.bytes) + "!\n");
}

TEST_CASE("a console that takes characters gets them, whatever the locale", "[sinks][console]")
{
    terminaltest test;
    test.terminals.outputTakesCharacters = true;
    consoletracestream sink(test.stream);

    sink.log(lineOf(tl_info, L"gr\u00f6\u00dfe \u65e5"));
    sink.log(lineOf(tl_error));

    CHECK(test.terminals.characters ==
          L"[1970-01-01 00:00:00.000]:   1:[I]: f : gr\u00f6\u00dfe \u65e5\n"
          L"\x1b[31m[1970-01-01 00:00:00.000]:   1:[E]: f : text\x1b[0m\n");
    CHECK(test.stream.str().empty());
}

TEST_CASE("what waits in a stream's buffer is on the console before a line's characters",
          "[sinks][console]")
{
    class waitingbuffer : public std::stringbuf
    {
    public:
        explicit waitingbuffer(const std::wstring& shown) : m_shown(shown) {}

        bool isFirst = false;

    protected:
        int sync() override
        {
            isFirst = m_shown.empty();
            return 0;
        }

    private:
        const std::wstring& m_shown;
    };
    scriptedterminals terminals;
    terminals.outputTakesCharacters = true;
    waitingbuffer buffer(terminals.characters);
    terminals.output = &buffer;
    std::ostream stream(&buffer);
    consoletracestream sink(stream);

    sink.log(lineOf(tl_info));

    CHECK(buffer.isFirst);
    CHECK_FALSE(terminals.characters.empty());
}

TEST_CASE("the standard streams' buffers are known, and no others", "[sinks][console]")
{
    using tolvane::standardstream;
    std::ostringstream other;

    CHECK(tolvane::standardStreamOf(std::cout.rdbuf()) == standardstream::output);
    CHECK(tolvane::standardStreamOf(std::cerr.rdbuf()) == standardstream::error);
    CHECK(tolvane::standardStreamOf(std::clog.rdbuf()) == standardstream::error);
    CHECK_FALSE(tolvane::standardStreamOf(other.rdbuf()));
    CHECK_FALSE(tolvane::standardStreamOf(nullptr));
}
