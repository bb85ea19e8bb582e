#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/trace.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/tracedtest.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <functional>
#include <iomanip>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

/// Counts how often it is asked.
struct countedvalue
{
    int ask() { return ++asked; }
    int asked = 0;
};

/// Leaves the stream in a failed state.
struct failingvalue
{};

std::wostream& operator<<(std::wostream& stream, const failingvalue&)
{
    stream << L"before";
    stream.setstate(std::ios_base::failbit);
    return stream;
}

struct throwingvalue
{};

std::wostream& operator<<(std::wostream&, const throwingvalue&)
{
    throw std::runtime_error("no text");
}

/// Has an inserter as an application would write it.
struct point
{
    int x;
    int y;
};

std::wostream& operator<<(std::wostream& stream, const point& value)
{
    return stream << L'(' << value.x << L';' << value.y << L')';
}

const wchar_t* branch(bool condition)
{
    TOLVANE_SCOPE(log);
    // No braces on purpose: the else must belong to this if.
    if (condition)
        TOLVANE_LOG(log, tl_info) << "true";
    else
        TOLVANE_LOG(log, tl_info) << "false";
    if (condition)
        TOLVANE_LOGF(log, tl_info, "%s", "true");
    else
        TOLVANE_LOGF(log, tl_info, "%s", "false");
    return condition ? L"true" : L"false";
}

template <class value_t>
struct box
{
    static const hashedfunction* open()
    {
        TOLVANE_SCOPE(log);
        return log_function;
    }
};

} // namespace

TEST_CASE("a scope knows the function that it stands in", "[trace]")
{
    struct local
    {
        const hashedfunction* method() const
        {
            TOLVANE_SCOPE(log);
            return log_function;
        }
    };

    const tolvane::string name = local().method()->name();

    const std::wstring text = name.c_str();
    CHECK(text.substr(text.find_last_of(L':') + 1) == L"method");
}

TEST_CASE("each instance of a template is a function of its own", "[trace]")
{
    const hashedfunction* const first = box<int>::open();
    const hashedfunction* const second = box<char>::open();

    CHECK(first != second);
    CHECK(first == box<int>::open());
}

TEST_CASE("a function may open two scopes under two names", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(first);
    TOLVANE_SCOPE(second);

    TOLVANE_LOG(first, tl_info) << "a";
    TOLVANE_LOG(second, tl_info) << "b";

    CHECK(first_function != second_function);
    CHECK(test.queue.texts() == texts_t{L"a", L"b"});
}

TEST_CASE("a traced line has its level and ends with its statement", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a" << 1;
    TOLVANE_LOG(log, tl_error) << "b" << 2;
    TOLVANE_LOG(log, tl_always);

    const auto entries = test.queue.entries();
    REQUIRE(entries.size() == 3);
    CHECK(entries[0].text == L"a1");
    CHECK(entries[0].level == tl_info);
    CHECK(entries[1].text == L"b2");
    CHECK(entries[1].level == tl_error);
    CHECK(entries[2].text.empty());
    CHECK(entries[2].level == tl_always);
}

TEST_CASE("operands are evaluated only when some sink takes the line", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    countedvalue value;

    TOLVANE_LOG(log, tl_verbose) << value.ask();
    TOLVANE_LOGF(log, tl_verbose, "%d", value.ask());
    CHECK(value.asked == 0);
    CHECK(test.queue.entries().empty());

    TOLVANE_LOG(log, tl_info) << value.ask();
    TOLVANE_LOGF(log, tl_info, "%d", value.ask());
    CHECK(value.asked == 2);
    CHECK(test.queue.texts() == texts_t{L"1", L"2"});
}

TEST_CASE("each line is made by the level that is in force at its statement", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    traceobject& stream = log;
    TOLVANE_LOG(log, tl_debug) << "before";
    trace::setLevel(tl_debug, "");

    TOLVANE_LOG(log, tl_debug) << "raised";
    TOLVANE_LOGF(log, tl_debug, "%s", "formatted");
    TOLVANE_LOG(stream, tl_debug) << "by the stream";
    CHECK_FALSE(log.takes(tl_debug)); // as it was when the scope was opened
    trace::setLevel(tl_error);
    TOLVANE_LOG(log, tl_info) << "lowered";
    TOLVANE_LOGF(log, tl_info, "lowered");
    TOLVANE_LOG(stream, tl_info) << "lowered";
    TOLVANE_LOG(log, tl_error) << "error";

    CHECK(test.queue.texts() == texts_t{L"raised", L"formatted", L"by the stream", L"error"});
}

TEST_CASE("a sink that is attached within a scope gets its lines from then on", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const probesink late(2);
    {
        const attached attachment(late, tl_trace);
        TOLVANE_LOG(log, tl_debug) << "for the late one";
    }
    TOLVANE_LOG(log, tl_debug) << "for nobody";

    CHECK(late.events().size() == 3); // cloned, written, destroyed
    CHECK(test.queue.texts().empty());
}

TEST_CASE("levels that change within a scope leave its entry and exit lines in pairs", "[trace]")
{
    const tracedtest test;
    {
        TOLVANE_SCOPE(log);
        trace::setLevel(tl_trace);
        TOLVANE_LOG(log, tl_trace) << "without an entry line";
    }
    CHECK(test.queue.texts() == texts_t{L"without an entry line"});
    {
        TOLVANE_SCOPE(log);
        trace::setLevel(tl_info);
        TOLVANE_LOG(log, tl_debug) << "suppressed";
    }
    CHECK(test.queue.texts().size() == 3);
}

TEST_CASE("a traced line may be the branch of an if without braces", "[trace]")
{
    const tracedtest test;

    branch(true);
    branch(false);

    CHECK(test.queue.texts() == texts_t{L"true", L"true", L"false", L"false"});
}

TEST_CASE("a traced line takes narrow and wide text of every kind", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    char narrowBuffer[] = "buffer";
    wchar_t wideBuffer[] = L"buffer";
    char* const narrowPointer = narrowBuffer;
    wchar_t* const widePointer = wideBuffer;

    TOLVANE_LOG(log, tl_info) << "literal" << L" literal";
    TOLVANE_LOG(log, tl_info) << narrowBuffer << L' ' << wideBuffer;
    TOLVANE_LOG(log, tl_info) << narrowPointer << ' ' << widePointer;
    TOLVANE_LOG(log, tl_info) << std::string("string") << std::wstring(L" wide");
    TOLVANE_LOG(log, tl_info) << std::string_view("a view of", 6) << std::wstring_view(L" wide", 3);
    TOLVANE_LOG(log, tl_info) << tolvane::string(L"tolvane") << tolvane::string("'s own");
    TOLVANE_LOG(log, tl_info) << std::string() << std::string_view() << tolvane::string() << "";

    CHECK(test.queue.texts() == texts_t{L"literal literal", L"buffer buffer", L"buffer buffer",
                                        L"string wide", L"a view wi", L"tolvane's own", L""});
}

TEST_CASE("null pointers to characters write nothing, and the line goes on", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a" << static_cast<const char*>(nullptr) << "b"
                              << static_cast<char*>(nullptr) << "c"
                              << static_cast<const wchar_t*>(nullptr) << "d"
                              << static_cast<wchar_t*>(nullptr) << "e";
    TOLVANE_LOGF(log, tl_info, "%s|%s", static_cast<const char*>(nullptr), "x");

    CHECK(test.queue.texts() == texts_t{L"abcde", L"|x"});
}

TEST_CASE("a traced line takes numbers, manipulators and an application's own inserters", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << 42 << ' ' << -1LL << ' ' << 0.5 << ' ' << true << ' '
                              << std::boolalpha << true << std::noboolalpha;
    TOLVANE_LOG(log, tl_info) << std::hex << 255 << std::dec << std::setw(4) << 7;
    TOLVANE_LOG(log, tl_info) << std::setw(5) << tolvane::string(L"abc") << std::setw(5)
                              << std::string("de") << std::setfill(L'.') << std::setw(3) << 1;
    TOLVANE_LOG(log, tl_info) << point{1, 2};

    CHECK(test.queue.texts() ==
          texts_t{L"42 -1 0.5 1 true", L"ff   7", L"  abc   de..1", L"(1;2)"});
}

TEST_CASE("std::endl within a traced line ends a line there too", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a" << std::endl << "b";

    CHECK(test.queue.texts() == texts_t{L"a", L"b"});
}

TEST_CASE("an inserter that fails spoils its own line only", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << "a " << failingvalue() << "lost";
    TOLVANE_LOG(log, tl_info) << "b";
    TOLVANE_LOGF(log, tl_info, "c %s lost", failingvalue());
    TOLVANE_LOGF(log, tl_info, "%s", "d");

    const texts_t texts = test.queue.texts();
    REQUIRE(texts.size() == 4);
    CHECK(texts[0] == L"a before");
    CHECK(texts[1] == L"b");
    CHECK(texts[2].substr(0, 8) == L"c before");
    CHECK(texts[3] == L"d");
}

TEST_CASE("a stream that failed before takes a traced line all the same", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    log.setstate(std::ios_base::badbit);

    TOLVANE_LOG(log, tl_info) << "whole";

    CHECK(test.queue.texts() == texts_t{L"whole"});
}

TEST_CASE("an inserter that throws ends its line, and the next one is whole", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    const auto line = [&log] { TOLVANE_LOG(log, tl_info) << "a" << throwingvalue() << "lost"; };

    CHECK_THROWS_AS(line(), std::runtime_error);
    TOLVANE_LOG(log, tl_info) << "b";

    CHECK(test.queue.texts() == texts_t{L"a", L"b"});
}

TEST_CASE("a line for which there is no memory is lost as a whole, and the next one is whole",
          "[trace]")
{
    const remembersink sink;
    const attached attachment(sink, tl_info);
    const unsigned long long lost = trace::lost(trace::noMemory);
    std::thread([] { // its first line needs memory
        TOLVANE_SCOPE(log);
        {
            const allocations::failure failing;
            TOLVANE_LOG(log, tl_info) << 1;
        }
        TOLVANE_LOG(log, tl_info) << "next";
    })
        .join();
    trace::sync(10000);

    CHECK(sink.bodies() == texts_t{L"next"});
    CHECK(trace::lost(trace::noMemory) == lost + 1);
}

TEST_CASE("a format is written with its arguments in the places of its placeholders", "[trace]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);
    struct example
    {
        std::function<void()> write;
        const wchar_t* written;
    };
    const example examples[] = {
        {[&] { TOLVANE_LOGF(log, tl_info, "plain"); }, L"plain"},
        {[&] { TOLVANE_LOGF(log, tl_info, ""); }, L""},
        {[&] { TOLVANE_LOGF(log, tl_info, "a %d b", 5); }, L"a 5 b"},
        {[&] { TOLVANE_LOGF(log, tl_info, L"a %d b", 5); }, L"a 5 b"},
        {[&] { TOLVANE_LOGF(log, tl_info, tolvane::string("a %d b"), 5); }, L"a 5 b"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%s=%s", "key", L"value"); }, L"key=value"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d", "any type"); }, L"any type"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d%d%d", 1, 2, 3); }, L"123"},
        {[&] {
             TOLVANE_LOGF(log, tl_info, "%s", point{1, 2});
         },
         L"(1;2)"},
        // doubled percent signs stand for one
        {[&] { TOLVANE_LOGF(log, tl_info, "100%%"); }, L"100%"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d%% of %d%%", 1, 2); }, L"1% of 2%"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%%%d", 1); }, L"%1"},
        // surplus arguments are set off by a space
        {[&] { TOLVANE_LOGF(log, tl_info, "a", 1, 2); }, L"a 1 2"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d", 1, 2); }, L"1 2"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d!", 1, 2); }, L"1! 2"},
        {[&] { TOLVANE_LOGF(log, tl_info, "100%%", 1); }, L"100% 1"},
        {[&] { TOLVANE_LOGF(log, tl_info, "", 1); }, L" 1"},
        // a placeholder without an argument is written as it stands
        {[&] { TOLVANE_LOGF(log, tl_info, "a %d b"); }, L"a %d b"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d-%-5.2lld-", 1); }, L"1-%-5.2lld-"},
        {[&] { TOLVANE_LOGF(log, tl_info, L"%d"); }, L"%d"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%%-%d%%"); }, L"%-%d%"},
        // a lone percent sign at the end is no placeholder
        {[&] { TOLVANE_LOGF(log, tl_info, "100 %"); }, L"100 %"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%d %", 1); }, L"1 %"},
        {[&] { TOLVANE_LOGF(log, tl_info, "a %", 1); }, L"a % 1"},
        {[&] { TOLVANE_LOGF(log, tl_info, "%%%"); }, L"%%"},
        // an argument's percent signs are text
        {[&] { TOLVANE_LOGF(log, tl_info, "%s|%s", "%d", 1); }, L"%d|1"},
    };

    texts_t expected;
    for (const example& pair : examples) {
        pair.write();
        expected.emplace_back(pair.written);
    }

    CHECK(test.queue.texts() == expected);
}
