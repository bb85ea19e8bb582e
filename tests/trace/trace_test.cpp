#include <tolvane/trace.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <climits>
#include <string>
#include <vector>

namespace {

using events_t = std::vector<std::string>;

std::size_t registered()
{
    return traceimpltest::functions(traceimpltest::instance());
}

} // namespace

TEST_CASE("an integer is a level from 0 to 6, and the fallback elsewhere", "[trace]")
{
    for (int level = 0; level <= 6; ++level) {
        CHECK(trace::getLevelFromInt(level, tl_info) == level);
    }
    for (const int level : {7, -1, INT_MAX, INT_MIN}) {
        CHECK(trace::getLevelFromInt(level, tl_info) == tl_info);
        CHECK(trace::getLevelFromInt(level, static_cast<tracelevel_t>(9)) == 9);
    }
}

TEST_CASE("a function is registered by narrow and by wide signature", "[trace]")
{
    const hashedfunction& narrow = trace::registerfunction("void a::f(int)");
    const hashedfunction& wide = trace::registerfunction(L"void a::f(int)");

    CHECK(&narrow != &wide);
    CHECK(narrow.name().compare("a::f") == 0);
    CHECK(wide.name().compare("a::f") == 0);
}

TEST_CASE("the level of a name is found by its signature's name, and registers nothing", "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_error);
    trace::setLevel(tl_verbose, L"a::f");
    const std::size_t before = registered();

    CHECK(trace::level(tolvane::string(L"a::f")) == tl_verbose);
    CHECK(trace::level(tolvane::string(L"void __cdecl a::f(int)")) == tl_verbose);
    CHECK(trace::level(std::string("static int a::f(const char *)")) == tl_verbose);
    CHECK(trace::level(std::string("a::g")) == tl_error);
    CHECK(trace::level("a::f") == tl_verbose);
    CHECK(trace::level(L"a::f") == tl_verbose);
    CHECK(trace::level(std::string_view("a::f")) == tl_verbose);
    CHECK(trace::level(std::wstring(L"a::f")) == tl_verbose);
    CHECK(trace::level(std::string()) == tl_error);

    CHECK(registered() == before);
}

TEST_CASE("a name whose level is set is taken as it stands", "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_error);

    trace::setLevel(tl_trace, L"void a::f(int)");

    CHECK(trace::level(trace::registerfunction("void a::f(int)")) == tl_error);
}

TEST_CASE("without a sink every level is tl_always, whatever removed sinks had", "[trace]")
{
    const hashedfunction& function = trace::registerfunction("void f()");
    {
        const probesink sink(1);
        const attached attachment(sink, tl_trace);
        CHECK(trace::level(function) == tl_trace);
    }

    CHECK(trace::level(function) == tl_always);
    CHECK(trace::level(std::string("f")) == tl_always);
}

TEST_CASE("the facade sets and clears the levels of all attached sinks", "[trace]")
{
    const hashedfunction& function = trace::registerfunction("void a::f()");
    const probesink first(1);
    const probesink second(2);
    const attached firstAttached(first);
    const attached secondAttached(second);
    const auto levels = [&] {
        return std::vector<tracelevel_t>{firstAttached.stored().level(function),
                                         secondAttached.stored().level(function)};
    };
    using levels_t = std::vector<tracelevel_t>;

    trace::setLevel(tl_error);
    CHECK(levels() == levels_t{tl_error, tl_error});
    trace::setLevel(tl_debug, L"a");
    CHECK(levels() == levels_t{tl_debug, tl_debug});
    trace::clearLevels(L"a");
    CHECK(levels() == levels_t{tl_error, tl_error});
    trace::setLevel(tl_debug, L"a");
    trace::clearLevels(tl_info);
    CHECK(levels() == levels_t{tl_info, tl_info});
    trace::clearLevels(tolvane::string());
    CHECK(levels() == levels_t{tl_always, tl_always});
}

TEST_CASE("the facade sets and clears levels of one attached sink, found by its id", "[trace]")
{
    const hashedfunction& function = trace::registerfunction("void a::f()");
    const probesink first(1);
    const probesink second(2);
    const probesink other(3);
    const attached firstAttached(first, tl_error);
    const attached secondAttached(second, tl_error);
    const auto levels = [&] {
        return std::vector<tracelevel_t>{firstAttached.stored().level(function),
                                         secondAttached.stored().level(function)};
    };
    using levels_t = std::vector<tracelevel_t>;

    trace::setLevel(probesink(2), tl_debug, "a");
    CHECK(levels() == levels_t{tl_error, tl_debug});
    trace::setLevel(first, tl_info);
    CHECK(levels() == levels_t{tl_info, tl_debug});
    trace::setLevel(other, tl_trace, "a");
    trace::clearLevels(other, "a");
    CHECK(levels() == levels_t{tl_info, tl_debug});
    trace::clearLevels(second, "a");
    CHECK(levels() == levels_t{tl_info, tl_error});
    trace::clearLevels(second, "");
    CHECK(levels() == levels_t{tl_info, tl_always});
    CHECK(other.events().empty());
}

TEST_CASE("levels are set by a text for every attached sink", "[trace]")
{
    const probesink first(1);
    const probesink second(2);
    const attached firstAttached(first, tl_verbose);
    const attached secondAttached(second, tl_verbose);

    trace::setLevel(tl_info, "b");
    CHECK(trace::setLevels(L"a::f=trace, *=warning, a=debug"));

    for (const attached* const each : {&firstAttached, &secondAttached}) {
        const tracestream& sink = each->stored();
        CHECK(sink.level(trace::registerfunction("void a::f()")) == tl_trace);
        CHECK(sink.level(trace::registerfunction("void a::g()")) == tl_debug);
        CHECK(sink.level(trace::registerfunction("void b::f()")) == tl_info);
        CHECK(sink.level(trace::registerfunction("void c::f()")) == tl_warning);
    }
}

TEST_CASE("a text of many levels costs each of them the same", "[trace]")
{
    constexpr unsigned long long names = 2000;
    const probesink sink(1);
    const attached attachment(sink, tl_verbose);
    std::string text;
    for (unsigned long long name = 0; name < names; ++name) {
        text += "many::f" + std::to_string(name) + "=debug,";
    }

    const unsigned long long before = allocations::count();
    CHECK(trace::setLevels(text));
    const unsigned long long made = allocations::count() - before;

    CHECK(made < 60 * names);
    CHECK(trace::level("many::f1999") == tl_debug);
}

TEST_CASE("a malformed text of levels changes nothing", "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_verbose);

    CHECK_FALSE(trace::setLevels("*=error, a=loud"));

    CHECK(trace::level("a::f") == tl_verbose);
    CHECK(trace::setLevels(""));
    CHECK(trace::setLevels(std::string("a=error")));
    CHECK(trace::level("a::f") == tl_error);
}

TEST_CASE("a flush of 0 writes what is queued before it returns", "[trace]")
{
    const hashedfunction& function = trace::registerfunction("void f()");
    const probesink sink(1);
    const attached attachment(sink);
    {
        const lockobject writerWaits(traceimpltest::instance().m_instanceMutex);
        traceimpltest::queue(traceimpltest::instance(), function, tl_always, L"line");
        CHECK(sink.events() == events_t{"clone 1"});

        trace::flush(0);

        CHECK(sink.events() == events_t{"clone 1", "1: line"});
    }
}

TEST_CASE("lines that are queued before a sink is removed still reach it", "[trace]")
{
    const hashedfunction& function = trace::registerfunction("void f()");
    const probesink sink(1);
    {
        const attached attachment(sink);
        traceimpltest::queue(traceimpltest::instance(), function, tl_always, L"line");
    }

    CHECK(sink.events() == events_t{"clone 1", "1: line", "delete 1"});
}
