#include <tolvane/debuggertracestream.h>

#include <tolvane/hashedfunction.h>

#include "sinks/windows/debugger.h"
#include "support/windows/platform.h"
#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/sinkset.h"

#include <catch2/catch.hpp>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

const hashedfunction function("void f(int)");

/// Puts a debugger in use that remembers, for as long as the object lives.
class rememberdebugger : public tolvane::Debugger
{
public:
    rememberdebugger() { use(this); }
    ~rememberdebugger() override { use(nullptr); }

    rememberdebugger(const rememberdebugger&) = delete;
    rememberdebugger& operator=(const rememberdebugger&) = delete;

    void tell(const wchar_t* text) const noexcept override { texts.emplace_back(text); }

    mutable texts_t texts;
};

formattedline lineOf(const wchar_t* text)
{
    formattedline line = formattedlinetest::text(tl_info, function, text);
    formattedlinetest::time(line) = 0;
    formattedlinetest::threadId(line) = 1;
    return line;
}

const std::wstring prefix = L"[1970-01-01 00:00:00.000]:   1:[I]: f : ";

/// A program that listens to what processes tell debuggers.
class listener
{
public:
    listener()
        : m_memory(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size,
                                      L"DBWIN_BUFFER")),
          m_view(static_cast<const char*>(MapViewOfFile(m_memory, FILE_MAP_READ, 0, 0, size)))
    {
        SetEvent(m_isFree);
    }

    ~listener()
    {
        UnmapViewOfFile(m_view);
        for (const HANDLE handle : {m_memory, m_isFree, m_isFull}) {
            CloseHandle(handle);
        }
    }

    listener(const listener&) = delete;
    listener& operator=(const listener&) = delete;

    /// What was told last; empty when nothing was.
    std::string heard() const
    {
        constexpr DWORD longestWait = 5000; // milliseconds
        return WaitForSingleObject(m_isFull, longestWait) == WAIT_OBJECT_0 ? m_view + sizeof(DWORD)
                                                                           : "";
    }

private:
    static constexpr DWORD size = 4096;

    const HANDLE m_isFree = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_BUFFER_READY");
    const HANDLE m_isFull = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY");
    const HANDLE m_memory;
    const char* const m_view;
};

} // namespace

TEST_CASE("a debugger is told each line in one piece, with a line feed", "[sinks][debugger]")
{
    const rememberdebugger debugger;
    debuggertracestream sink;

    sink.log(lineOf(L"gr\u00f6\u00dfe %s"));
    sink.log(lineOf(L""));

    CHECK(debugger.texts == texts_t{prefix + L"gr\u00f6\u00dfe %s\n", prefix + L"\n"});
}

TEST_CASE("a pass tells the debugger its lines", "[sinks][debugger]")
{
    const rememberdebugger debugger;
    sinkset sinks;
    sinks.add<debuggertracestream>(tl_info);
    linebatch lines;
    lines.add(lineOf(L"one"));
    lines.add(lineOf(L"two"));

    sinks.write(lines);

    CHECK(debugger.texts == texts_t{prefix + L"one\n", prefix + L"two\n"});
    CHECK(sinks.counts(1).written == 2);
}

TEST_CASE("there is one debugger", "[sinks][debugger]")
{
    const debuggertracestream sink;
    CHECK(sink.id() == debuggertracestream().id());
    CHECK(std::unique_ptr<debuggertracestream>(sink.clone())->id() == sink.id());
}

TEST_CASE("who listens hears what is told to the debugger", "[sinks][debugger]")
{
    const listener listening;
    debuggertracestream().log(lineOf(L"a line"));

    CHECK(listening.heard() == "[1970-01-01 00:00:00.000]:   1:[I]: f : a line\n");
}

TEST_CASE("people are told of the debugger by its name", "[sinks][debugger]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(debuggertracestream());

    CHECK(std::string(quiet.dispatcher.describe().narrow()) ==
          "debugger: *=always; 0 written, 0 lost\n");
}
