#include <tolvane/hashedfunction.h>
#include <tolvane/trace.h>

#include "sinks/levelgeneration.h"
#include "tests/helpers/hashedfunctiontest.h"
#include "tests/helpers/remembersink.h"

#include <catch2/catch.hpp>

#include <memory>

// A function remembers its effective level. These tests ask one and the same function throughout,
// so that a change which does not make it ask again shows.

namespace {

const hashedfunction& asked()
{
    static const hashedfunction& function = trace::registerfunction("void effective::level()");
    return function;
}

tracelevel_t level()
{
    const tracelevel_t first = trace::level(asked());
    CHECK(trace::level(asked()) == first);
    return first;
}

/// Detaches a sink in the end.
struct attached
{
    attached() : sink(trace::output(made)) {}
    ~attached() { trace::remove(made); }

    attached(const attached&) = delete;
    attached& operator=(const attached&) = delete;

    remembersink made;
    tracestream& sink;
};

} // namespace

TEST_CASE("a function's effective level follows attaching and removing", "[trace]")
{
    REQUIRE(level() == tl_always);
    {
        attached one;
        one.sink.setLevel(tl_info);
        CHECK(level() == tl_info);

        trace::output(one.made); // replaced by a clone without levels
        CHECK(level() == tl_always);

        trace::setLevel(tl_debug);
        CHECK(level() == tl_debug);
    }
    CHECK(level() == tl_always);
}

TEST_CASE("a function's effective level follows every change through the attached sink", "[trace]")
{
    attached one;

    one.sink.setLevel(tl_error);
    CHECK(level() == tl_error);
    one.sink.setLevel(tl_verbose, "effective");
    CHECK(level() == tl_verbose);
    one.sink.clearLevels("effective");
    CHECK(level() == tl_error);
    one.sink.clearLevels(tl_warning);
    CHECK(level() == tl_warning);
    one.sink.setLevel(tl_debug, "effective::level");
    CHECK(level() == tl_debug);
    one.sink.clearLevels(tolvane::string());
    CHECK(level() == tl_warning);
}

TEST_CASE("a function's effective level follows every change through the facade", "[trace]")
{
    attached one;

    trace::setLevel(tl_error);
    CHECK(level() == tl_error);
    trace::setLevel(tl_verbose, "effective::level");
    CHECK(level() == tl_verbose);
    trace::clearLevels("effective::level");
    CHECK(level() == tl_error);
    trace::clearLevels(tl_info);
    CHECK(level() == tl_info);
    trace::clearLevels("");
    CHECK(level() == tl_always);
}

TEST_CASE("with several sinks the effective level is the greatest, whichever changes", "[trace]")
{
    attached one;
    attached two;

    one.sink.setLevel(tl_info);
    two.sink.setLevel(tl_error);
    CHECK(level() == tl_info);
    two.sink.setLevel(tl_debug);
    CHECK(level() == tl_debug);
    two.sink.setLevel(static_cast<tracelevel_t>(-1));
    CHECK(level() == tl_info);
}

TEST_CASE("the generation of levels is never the one that stands for nothing found out", "[trace]")
{
    const unsigned int before = levelgeneration::current();

    hashedfunctiontest::setLevelGeneration(~0U);
    levelgeneration::raise();
    CHECK(levelgeneration::current() == 1);

    hashedfunctiontest::setLevelGeneration(before);
    levelgeneration::raise();
}
