#include <tolvane/formattedline.h>

#include <tolvane/chrono.h>
#include <tolvane/hashedfunction.h>

#include "support/threadid.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <new>
#include <string>
#include <thread>
#include <type_traits>

namespace {

using tester = formattedlinetest;

static_assert(!std::is_polymorphic_v<formattedline>);
static_assert(std::is_copy_constructible_v<formattedline>);
static_assert(!std::is_copy_assignable_v<formattedline>, "assignment is for the library only");
static_assert(formattedline::tt_starting == 0 && formattedline::tt_exiting == 1 &&
              formattedline::tt_text == 2);
static_assert(sizeof(formattedline::type_t) == 4);

/// 2024-03-05 14:07:09.045.
constexpr unsigned long long sampleTime = 1709647629045;

const hashedfunction& sampleFunction()
{
    static const hashedfunction function("void MyClass::doWork(int)");
    return function;
}

/// A line of the sample's time and thread.
formattedline sampleLine(tracelevel_t level, const wchar_t* body,
                         const hashedfunction& function = sampleFunction())
{
    formattedline line = tester::text(level, function, body);
    tester::time(line) = sampleTime;
    tester::threadId(line) = 0x9c4;
    return line;
}

formattedline sampleMarker(formattedline::type_t type)
{
    formattedline line = tester::marker(tl_trace, sampleFunction(), type);
    tester::time(line) = sampleTime;
    tester::threadId(line) = 0x9c4;
    return line;
}

std::wstring wide(const tolvane::string& text)
{
    return std::wstring(text.c_str(), static_cast<std::size_t>(text.length()));
}

std::size_t offsetIn(const formattedline& line, const void* field)
{
    return static_cast<std::size_t>(static_cast<const char*>(field) -
                                    reinterpret_cast<const char*>(&line));
}

} // namespace

TEST_CASE("a line shows time, thread, level, function and text", "[sinks]")
{
    CHECK(tester::render(sampleLine(tl_info, L"loaded 12 items")) ==
          L"[2024-03-05 14:07:09.045]: 9c4:[I]: MyClass::doWork : loaded 12 items");
}

TEST_CASE("entry and exit lines say so", "[sinks]")
{
    CHECK(tester::render(sampleMarker(formattedline::tt_starting)) ==
          L"[2024-03-05 14:07:09.045]: 9c4:[T]: MyClass::doWork : starting");
    CHECK(tester::render(sampleMarker(formattedline::tt_exiting)) ==
          L"[2024-03-05 14:07:09.045]: 9c4:[T]: MyClass::doWork : exiting");
}

TEST_CASE("a line of an unknown kind ends before its body", "[sinks]")
{
    for (const int kind : {3, -1, 1000}) {
        formattedline line = sampleLine(tl_info, L"not shown");
        tester::type(line) = static_cast<formattedline::type_t>(kind);

        CHECK(tester::render(line) == L"[2024-03-05 14:07:09.045]: 9c4:[I]: MyClass::doWork : ");
    }
}

TEST_CASE("each level has its letter, and what is no level an exclamation mark", "[sinks]")
{
    const struct
    {
        int level;
        wchar_t letter;
    } table[] = {
        {0, L'!'}, {1, L'E'}, {2, L'W'},  {3, L'I'},   {4, L'V'},           {5, L'D'},
        {6, L'T'}, {7, L'!'}, {-1, L'!'}, {100, L'!'}, {-2147483647, L'!'}, {2147483647, L'!'},
    };

    for (const auto& line : table) {
        CAPTURE(line.level);
        const formattedline made = sampleLine(static_cast<tracelevel_t>(line.level), L"x");

        CHECK(tester::levelChar(made) == line.letter);
        CHECK(tester::render(made).substr(30, 5) == std::wstring(L":[") + line.letter + L"]:");
    }
}

TEST_CASE("a thread's id is hexadecimal, at least four characters wide and never cut", "[sinks]")
{
    const struct
    {
        unsigned long long id;
        const wchar_t* shown;
    } table[] = {
        {0, L"   0"},
        {0xf, L"   f"},
        {0x9c4, L" 9c4"},
        {0x1a2c, L"1a2c"},
        {0x12345, L"12345"},
        {0xabcdef01, L"abcdef01"},
        {~0ULL, L"ffffffffffffffff"},
    };

    for (const auto& entry : table) {
        formattedline line = sampleLine(tl_error, L"x");
        tester::threadId(line) = entry.id;

        CHECK(tester::render(line) == std::wstring(L"[2024-03-05 14:07:09.045]:") + entry.shown +
                                          L":[E]: MyClass::doWork : x");
    }
}

TEST_CASE("an empty function name leaves two blanks, an empty text nothing", "[sinks]")
{
    const hashedfunction nameless("");

    CHECK(tester::render(sampleLine(tl_info, L"", nameless)) ==
          L"[2024-03-05 14:07:09.045]: 9c4:[I]:  : ");
}

TEST_CASE("milliseconds of a line's time are three digits", "[sinks]")
{
    formattedline line = sampleLine(tl_info, L"x");
    tester::time(line) = sampleTime - 45 + 7;
    formattedline even = sampleLine(tl_info, L"x");
    tester::time(even) = sampleTime - 45;

    CHECK(tester::render(line).substr(20, 5) == L".007]");
    CHECK(tester::render(even).substr(20, 5) == L".000]");
}

TEST_CASE("a line's text is neither cut nor escaped", "[sinks]")
{
    const std::wstring body =
        std::wstring(5000, L'x') + L"\u0416 % \t \n {} \U0001F600 : " + std::wstring(5000, L'y');

    const std::wstring rendered = tester::render(sampleLine(tl_info, body.c_str()));

    CHECK(rendered == L"[2024-03-05 14:07:09.045]: 9c4:[I]: MyClass::doWork : " + body);
}

TEST_CASE("a line takes its caller's text over and leaves the string empty", "[sinks]")
{
    for (const wchar_t* const body : {L"short", L"a text for the heap"}) {
        tolvane::string text(body);
        text.narrow();
        const unsigned long long before = allocations::count();

        formattedline line = tester::text(tl_info, sampleFunction(), text);

        CHECK(allocations::count() == before);
        CHECK(text.empty());
        CHECK(text.c_str()[0] == 0);
        CHECK(wide(tester::body(line)) == body);
        CHECK(wide(tester::formatted(line)).empty());
    }
}

TEST_CASE("a line knows its function, level, kind, time and thread", "[sinks]")
{
    scriptedclock clock;
    clock.setLocalMilliseconds(sampleTime);

    formattedline text = tester::text(tl_debug, sampleFunction(), L"x");
    formattedline marker = tester::marker(tl_trace, sampleFunction(), formattedline::tt_exiting);

    CHECK(tester::function(text) == &sampleFunction());
    CHECK(tester::level(text) == tl_debug);
    CHECK(tester::type(text) == formattedline::tt_text);
    CHECK(tester::time(text) == sampleTime);
    CHECK(tester::threadId(text) == tolvane::currentThreadId());
    CHECK(tester::function(marker) == &sampleFunction());
    CHECK(tester::level(marker) == tl_trace);
    CHECK(tester::type(marker) == formattedline::tt_exiting);
    CHECK(tester::time(marker) == sampleTime);
    CHECK(tester::threadId(marker) == tolvane::currentThreadId());
    CHECK(tester::body(marker).empty());
    CHECK(tester::formatted(marker).empty());
}

TEST_CASE("time and thread are those of the making, not of the rendering", "[sinks]")
{
    scriptedclock clock;
    clock.setLocalMilliseconds(sampleTime);
    const formattedline line = tester::text(tl_info, sampleFunction(), L"x");
    clock.setLocalMilliseconds(sampleTime + 60000);
    std::wstring elsewhere;

    std::thread([&] { elsewhere = tester::render(line); }).join();

    formattedline expected = sampleLine(tl_info, L"x");
    tester::threadId(expected) = tolvane::currentThreadId();
    CHECK(elsewhere == tester::render(expected));
}

TEST_CASE("a line tells its parts", "[sinks]")
{
    formattedline line = sampleLine(tl_warning, L"text");
    tester::utc(line) = 1709643993045123456;
    tester::threadName(line) = L"worker";
    const formattedline copy(line);

    CHECK(copy.level() == tl_warning);
    CHECK(copy.type() == formattedline::tt_text);
    CHECK(copy.function() == L"MyClass::doWork");
    CHECK(copy.text() == L"text");
    CHECK(copy.time() == 1709643993045123456);
    CHECK(copy.threadid() == 0x9c4);
    CHECK(copy.threadName() == L"worker");

    const formattedline exit = sampleMarker(formattedline::tt_exiting);
    CHECK(exit.type() == formattedline::tt_exiting);
    CHECK(exit.text().empty());
    CHECK(exit.threadName().empty());
}

TEST_CASE("a line's time is a time point of the standard's, too", "[sinks]")
{
    using namespace std::chrono;
    const auto before = system_clock::now();
    const formattedline line = tester::text(tl_info, sampleFunction(), L"x");
    const auto after = system_clock::now();

    CHECK(tolvane::timePoint(line) >= before - milliseconds(1));
    CHECK(tolvane::timePoint(line) <= after);
    CHECK(duration_cast<microseconds>(tolvane::timePoint(line).time_since_epoch()).count() ==
          line.time() / 1000);
}

TEST_CASE("a line is rendered once", "[sinks]")
{
    formattedline line = sampleLine(tl_info, L"first");
    const std::wstring first = tester::render(line);

    tester::body(line).assign(L"second");
    tester::level(line) = tl_error;
    tester::time(line) = 0;

    CHECK(tester::render(line) == first);
    CHECK(wide(tester::formatted(line)) == first);
}

TEST_CASE("a copy has everything, the rendered text included", "[sinks]")
{
    formattedline line = sampleLine(tl_warning, L"text");
    tester::type(line) = formattedline::tt_text;
    formattedline early(line);
    const std::wstring rendered = tester::render(line);
    tester::body(line).assign(L"changed");

    formattedline late(line);

    CHECK(wide(tester::formatted(early)).empty());
    CHECK(tester::render(early) == rendered);
    CHECK(wide(tester::formatted(late)) == rendered);
    CHECK(tester::render(late) == rendered);
    CHECK(wide(tester::body(late)) == L"changed");
    CHECK(tester::function(late) == tester::function(line));
    CHECK(tester::level(late) == tl_warning);
    CHECK(tester::time(late) == sampleTime);
    CHECK(tester::type(late) == formattedline::tt_text);
    CHECK(tester::threadId(late) == 0x9c4);
}

TEST_CASE("assignment copies text, level and time, and nothing else", "[sinks]")
{
    const hashedfunction other("void other(int)");
    formattedline source = tester::marker(tl_error, other, formattedline::tt_starting);
    tester::body(source).assign(L"new");
    tester::time(source) = 1000;
    tester::utc(source) = 1000000123;
    tester::threadId(source) = 1;
    tester::threadName(source) = L"other";
    tester::render(source);
    formattedline target = sampleLine(tl_info, L"old");

    tester::assign(target, source);

    CHECK(wide(tester::body(target)) == L"new");
    CHECK(tester::level(target) == tl_error);
    CHECK(tester::time(target) == 1000);
    CHECK(target.time() == 1000000123);
    CHECK(target.threadName().empty());
    CHECK(tester::function(target) == &sampleFunction());
    CHECK(tester::type(target) == formattedline::tt_text);
    CHECK(tester::threadId(target) == 0x9c4);
    CHECK(wide(tester::formatted(target)).empty());
    CHECK(tester::render(target) == L"[1970-01-01 00:00:01.000]: 9c4:[E]: MyClass::doWork : new");
}

TEST_CASE("a rendered line keeps its rendering when it is assigned to", "[sinks]")
{
    const formattedline source = sampleLine(tl_error, L"new");
    formattedline target = sampleLine(tl_info, L"old");
    const std::wstring rendered = tester::render(target);

    tester::assign(target, source);

    CHECK(tester::render(target) == rendered);
    CHECK(wide(tester::body(target)) == L"new");
}

TEST_CASE("a line assigned to itself is unchanged", "[sinks]")
{
    formattedline line = sampleLine(tl_info, L"a text of its own");
    const std::wstring rendered = tester::render(line);

    tester::assign(line, line);

    CHECK(wide(tester::body(line)) == L"a text of its own");
    CHECK(tester::render(line) == rendered);
}

TEST_CASE("a line's fields lie in the agreed order", "[sinks]")
{
    formattedline line = sampleLine(tl_info, L"x");
    const std::size_t string = sizeof(tolvane::string);
    const std::size_t pointer = sizeof(void*);

    CHECK(offsetIn(line, &tester::formatted(line)) == 0);
    CHECK(offsetIn(line, &tester::function(line)) == string);
    CHECK(offsetIn(line, &tester::body(line)) == string + pointer);
    CHECK(offsetIn(line, &tester::level(line)) == 2 * string + pointer);
    CHECK(offsetIn(line, &tester::time(line)) == 2 * string + 2 * pointer);
    CHECK(offsetIn(line, &tester::type(line)) == 2 * string + 3 * pointer);
    CHECK(offsetIn(line, &tester::threadId(line)) == 2 * string + 4 * pointer);
    CHECK(offsetIn(line, &tester::utc(line)) == 2 * string + 5 * pointer);
    CHECK(offsetIn(line, &tester::threadName(line)) == 2 * string + 6 * pointer);
    CHECK(sizeof(formattedline) == 3 * string + 6 * pointer);
}

TEST_CASE("a line that runs out of memory throws and stays unrendered", "[sinks]")
{
    const formattedline line = sampleLine(tl_info, L"some text");
    int thrown = 0;
    unsigned long long after = 0;
    for (bool rendered = false; !rendered; ++after) {
        try {
            const allocations::failure failure(after);
            const tolvane::string text = line;
            rendered = true;
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }

    CHECK(thrown >= 2);
    CHECK(tester::render(line) ==
          L"[2024-03-05 14:07:09.045]: 9c4:[I]: MyClass::doWork : some text");
}
