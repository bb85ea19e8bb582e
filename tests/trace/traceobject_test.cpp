#include <tolvane/traceobject.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/traceimpltest.h"
#include "tests/helpers/traceobjecttest.h"
#include "tests/helpers/withoutmemory.h"

#include <catch2/catch.hpp>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

const char signature[] = "void a::f(int)";

std::size_t registered()
{
    return traceimpltest::functions(traceimpltest::instance());
}

/// A scope and a queue that a test sees.
struct heldscope
{
    heldqueue queue;
    const hashedfunction* function = nullptr;
    traceobject log{function, signature};
};

} // namespace

TEST_CASE("a line has the level chosen for it, its text, and the scope's function", "[trace]")
{
    heldscope scope;

    scope.log(tl_info) << L"abc" << std::endl;

    const auto entries = scope.queue.entries();
    REQUIRE(entries.size() == 1);
    CHECK(entries[0].text == L"abc");
    CHECK(entries[0].level == tl_info);
    CHECK(entries[0].type == formattedline::tt_text);
    CHECK(entries[0].function == scope.function);
    CHECK(scope.function->name().compare("a::f") == 0);
}

TEST_CASE("the level of lines is tl_always at first, and stays until it is chosen anew", "[trace]")
{
    heldscope scope;

    scope.log << L"a" << std::endl;
    scope.log(tl_debug) << L"b" << std::endl;
    scope.log << L"c" << std::endl;
    traceobjecttest::setLevel(scope.log, tl_error);
    scope.log << L"d" << std::endl;

    std::vector<tracelevel_t> levels;
    for (const auto& entry : scope.queue.entries()) {
        levels.push_back(entry.level);
    }
    CHECK(levels == std::vector<tracelevel_t>{tl_always, tl_debug, tl_debug, tl_error});
    CHECK(traceobjecttest::lineLevel(scope.log) == tl_error);
}

TEST_CASE("a line feed inside a string stays in the text", "[trace]")
{
    heldscope scope;

    scope.log << L"a\nb" << std::endl;

    CHECK(scope.queue.texts() == texts_t{L"a\nb"});
}

TEST_CASE("carriage return and line feed as characters queue two lines, the second empty",
          "[trace]")
{
    heldscope scope;

    scope.log << L"abc";
    scope.log.put(L'\r');
    scope.log.put(L'\n');

    CHECK(scope.queue.texts() == texts_t{L"abc", L""});
}

TEST_CASE("the end of file ends a line", "[trace]")
{
    heldscope scope;
    const auto eof = std::char_traits<wchar_t>::eof();

    scope.log << L"abc";

    CHECK(traceobjecttest::overflow(scope.log, eof) == eof);
    CHECK(scope.queue.texts() == texts_t{L"abc"});
    CHECK(traceobjecttest::line(scope.log).empty());
}

TEST_CASE("overflow appends a character and returns it, whatever it is", "[trace]")
{
    heldscope scope;

    for (const wchar_t character : std::wstring(L"a\t\x20AC ")) {
        const auto asInteger = std::char_traits<wchar_t>::to_int_type(character);
        CHECK(traceobjecttest::overflow(scope.log, asInteger) == asInteger);
    }
    CHECK(traceobjecttest::line(scope.log) == L"a\t\x20AC ");
    CHECK(traceobjecttest::overflow(scope.log, L'\n') == L'\n');
    CHECK(traceobjecttest::overflow(scope.log, L'\r') == L'\r');

    CHECK(scope.queue.texts() == texts_t{L"a\t\x20AC ", L""});
}

TEST_CASE("text and characters build one line", "[trace]")
{
    heldscope scope;

    scope.log << L"n = " << 42 << L',' << L' ' << 1.5 << L" " << true;
    scope.log.write(L" xyz", 2); // as in every stream
    scope.log << std::endl;

    CHECK(scope.queue.texts() == texts_t{L"n = 42, 1.5 1 x"});
}

TEST_CASE("text that is not ended before the scope ends is not queued", "[trace]")
{
    const heldqueue queue;
    {
        const hashedfunction* function = nullptr;
        traceobject log(function, signature);
        log << L"ended" << std::endl;
        log << L"not ended" << std::flush;
    }
    CHECK(queue.texts() == texts_t{L"ended"});
}

TEST_CASE("the stream queues lines of every level: the sinks decide", "[trace]")
{
    heldscope scope; // no sink takes anything

    scope.log(tl_trace) << L"a" << std::endl;
    scope.log(static_cast<tracelevel_t>(7)) << L"b" << std::endl;

    CHECK(scope.queue.texts() == texts_t{L"a", L"b"});
}

TEST_CASE("a text is cut at a NUL, and counts as written whole", "[trace]")
{
    heldscope scope;

    CHECK(traceobjecttest::xsputn(scope.log, L"ab\0cd", 5) == 5);
    CHECK(traceobjecttest::xsputn(scope.log, L"\0x", 2) == 2);
    CHECK(traceobjecttest::xsputn(scope.log, L"ef", 1) == 1);

    CHECK(traceobjecttest::line(scope.log) == L"abe");
}

TEST_CASE("a count below one writes nothing and is returned", "[trace]")
{
    heldscope scope;

    CHECK(traceobjecttest::xsputn(scope.log, L"abc", 0) == 0);
    CHECK(traceobjecttest::xsputn(scope.log, L"abc", -5) == -5);

    CHECK(traceobjecttest::line(scope.log).empty());
}

TEST_CASE("a NUL costs a long text the rest of its stretch of 10,485,760 characters", "[trace]")
{
    constexpr std::size_t stretch = 10485760;
    heldscope scope;
    std::wstring text(stretch + 5, L'x');
    text.replace(0, 3, L"abc");
    text[3] = L'\0';
    text.replace(stretch - 1, 3, L"skd");
    text[stretch + 3] = L'\0';

    const auto count = static_cast<std::streamsize>(text.size());
    CHECK(traceobjecttest::xsputn(scope.log, text.c_str(), count) == count);

    CHECK(traceobjecttest::line(scope.log) == L"abckdx");
}

TEST_CASE("a scope registers its function once per pointer", "[trace]")
{
    const hashedfunction* function = nullptr;
    const std::size_t before = registered();
    {
        const traceobject first(function, signature);
        CHECK(traceobjecttest::function(first) == function);
    }
    const hashedfunction* const remembered = function;
    REQUIRE(remembered);
    {
        const traceobject second(function, "void not::looked::at()");
        CHECK(traceobjecttest::function(second) == remembered);
    }

    CHECK(function == remembered);
    CHECK(registered() == before + 1);
}

TEST_CASE("a scope does not look at the signature when its pointer is set", "[trace]")
{
    const hashedfunction* function = &trace::registerfunction(signature);
    const hashedfunction* const given = function;

    const traceobject log(function, nullptr);

    CHECK(traceobjecttest::function(log) == given);
}

TEST_CASE("a scope without a signature has a function without a name", "[trace]")
{
    const hashedfunction* function = nullptr;

    const traceobject log(function, nullptr);

    REQUIRE(function);
    CHECK(function->name().empty());
}

TEST_CASE("threads that enter a function for the first time at once register it once", "[trace]")
{
    const hashedfunction* function = nullptr;
    const std::size_t before = registered();
    constexpr std::size_t threadCount = 8;
    std::vector<const hashedfunction*> got(threadCount);
    std::vector<std::thread> threads;
    {
        const lockobject startLine(traceimpltest::instance().m_instanceMutex);
        for (std::size_t index = 0; index < threadCount; ++index) {
            threads.emplace_back([&function, &got, index] {
                const traceobject log(function, signature);
                got[index] = traceobjecttest::function(log);
            });
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(registered() == before + 1);
    for (const hashedfunction* entry : got) {
        CHECK(entry == function);
    }
}

TEST_CASE("with a sink at tl_trace, entry and exit lines stand around the scope's lines", "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_trace);
    const heldqueue queue;
    const hashedfunction* function = nullptr;
    {
        traceobject log(function, signature);
        log << L"text" << std::endl;
    }

    const auto entries = queue.entries();
    REQUIRE(entries.size() == 3);
    CHECK(entries[0].type == formattedline::tt_starting);
    CHECK(entries[1].text == L"text");
    CHECK(entries[2].type == formattedline::tt_exiting);
    CHECK(entries[0].level == tl_trace);
    CHECK(entries[2].level == tl_trace);
    CHECK(entries[0].function == function);
    CHECK(entries[2].function == function);
}

TEST_CASE("without a sink at tl_trace for the function there is no entry and no exit line",
          "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    trace::setLevel(tl_trace, L"some::other");
    const heldqueue queue;
    {
        const hashedfunction* function = nullptr;
        const traceobject log(function, signature);
        CHECK(log.takes(tl_debug));
        CHECK_FALSE(log.takes(tl_trace));
    }

    CHECK(queue.entries().empty());
}

TEST_CASE("a scope keeps the level that it began with until it is reset", "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    const heldqueue queue;
    {
        const hashedfunction* function = nullptr;
        traceobject log(function, signature);
        trace::setLevel(tl_trace);
        CHECK_FALSE(log.takes(tl_trace));
        log.reset();
        CHECK(log.takes(tl_trace));
    }
    REQUIRE(queue.entries().size() == 1);
    CHECK(queue.entries()[0].type == formattedline::tt_exiting);
    {
        const hashedfunction* function = nullptr;
        traceobject log(function, signature);
        trace::setLevel(tl_error);
        log.reset();
        CHECK(log.takes(tl_error));
        CHECK_FALSE(log.takes(tl_warning));
    }
    REQUIRE(queue.entries().size() == 2); // one entry, no exit
    CHECK(queue.entries()[1].type == formattedline::tt_starting);
}

TEST_CASE("a scope's function is on its thread's call stack while the scope lives", "[trace]")
{
    const unsigned long long before = stacktrace::getTrace().size();
    const hashedfunction* outer = nullptr;
    const hashedfunction* inner = nullptr;
    {
        const traceobject outerLog(outer, "void outer()");
        {
            const traceobject innerLog(inner, "void inner()");
            const stacktrace stack = stacktrace::getTrace();
            REQUIRE(stack.size() == before + 2);
            CHECK(stack[before] == outer);
            CHECK(stack[before + 1] == inner);
        }
        CHECK(stacktrace::getTrace().size() == before + 1);
    }
    CHECK(stacktrace::getTrace().size() == before);
}

TEST_CASE("a scope that ends on an empty call stack leaves it empty", "[trace]")
{
    std::thread([] {
        const hashedfunction* function = nullptr;
        {
            const traceobject log(function, signature);
            stacktrace::up();
        }
        CHECK(stacktrace::getTrace().size() == 0);
    }).join();
}

TEST_CASE("a scope that has no memory for its entry line leaves the call stack as it was",
          "[trace]")
{
    const hashedfunction* function = &trace::registerfunction(signature);

    CHECK(withoutMemoryForItsEntryLine([&] { const traceobject log(function, signature); }));
}

TEST_CASE("a scope that has no memory for its exit line ends without it", "[trace]")
{
    const hashedfunction* function = &trace::registerfunction(signature);

    CHECK(withoutMemoryForItsExitLine([&](const auto& raiseLevel, const auto& takeMemory) {
        traceobject log(function, signature);
        raiseLevel();
        log.reset();
        takeMemory();
    }));
}

TEST_CASE("logtosplit writes a format up to its next placeholder and leaves the rest", "[trace]")
{
    struct example
    {
        const wchar_t* format;
        const wchar_t* written;
        const wchar_t* rest;
    };
    const example examples[] = {
        {L"a%db", L"a", L"b"},
        {L"a %d b %s c", L"a ", L" b %s c"},
        {L"%d", L"", L""},
        {L"%dx", L"", L"x"},
        {L"% x", L"", L"x"}, // any character counts
        {L"50%% of %d items", L"50%% of ", L" items"},
        {L"100%%", L"100%% ", L""}, // then nothing is left, which gives a space
        {L"a%%b%%c", L"a%%b%%c", L""},
        {L"%%%d", L"%%", L""},
        {L"abc", L"abc", L""},
        {L"abc%", L"abc%", L""},
        {L"%", L"%", L""},
        {L"%%%", L"%%%", L""},
        {L"", L" ", L""},
    };
    for (const example& pair : examples) {
        CAPTURE(pair.format);
        heldscope scope;
        tolvane::string format(pair.format);

        traceobjecttest::logtosplit(scope.log, format);

        CHECK(traceobjecttest::line(scope.log) == pair.written);
        CHECK(format.c_str() == std::wstring(pair.rest));
    }
}

TEST_CASE("logtosplitchar writes a format up to its next placeholder and counts what is left",
          "[trace]")
{
    struct example
    {
        const wchar_t* format;
        unsigned long long length;
        const wchar_t* written;
        std::ptrdiff_t position; ///< of the rest
        unsigned long long left;
    };
    const example examples[] = {
        {L"abcd", 4, L"abcd ", 0, 0}, // a space behind a tail without a percent sign
        {L"a%db", 4, L"a", 3, 1},
        {L"%d", 2, L"", 2, 0},
        {L"", 0, L" ", 0, 0},
        {L"abcd", 0, L" ", 0, 0},
        {L"abcdef", 3, L"abc ", 0, 0},
        {L"abc%", 4, L"abc%", 0, 0}, // and none behind a percent sign that ends it
        {L"%", 1, L"%", 0, 0},
        {L"a%%b", 4, L"a%%b ", 3, 0},
        {L"a%%", 3, L"a%% ", 3, 0},
        {L"a%%%d!", 6, L"a%%", 5, 1},
        {L"ab%d", 3, L"ab%", 0, 0}, // the placeholder lies partly beyond the length
        {L"ab%d", 2, L"ab", 0, 0},  // and here entirely
        {L"ab%d", 0, L" ", 0, 0},
    };
    for (const example& pair : examples) {
        CAPTURE(pair.format, pair.length);
        heldscope scope;
        unsigned long long length = pair.length;

        const wchar_t* const rest = traceobjecttest::logtosplitchar(scope.log, pair.format, length);

        CHECK(traceobjecttest::line(scope.log) == pair.written);
        CHECK(rest - pair.format == pair.position);
        CHECK(length == pair.left);
    }
}

TEST_CASE("writing to the null object has no effect", "[trace]")
{
    const heldqueue queue;

    trace::__nullobject << L"text" << 42 << std::endl;
    trace::__nullobject.put(L'\n');

    CHECK(trace::__nullobject.rdbuf() == nullptr);
    CHECK_FALSE(trace::__nullobject.good());
    CHECK(queue.entries().empty());
}

TEST_CASE("a scope may end on another thread, which has no memory for a stack", "[trace]")
{
    const hashedfunction* function = nullptr;
    auto scope = std::make_unique<traceobject>(function, "void f()");

    std::thread([&scope] {
        const allocations::failure failure;
        scope.reset();
    }).join();

    CHECK(scope == nullptr);
    stacktrace::up(); // it is still on this thread's stack
}
