#include "stacktrace/faulthooks.h"

#include <tolvane/ostreamtracestream.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/remembersink.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <iostream>
#include <sstream>

namespace {

/// Remembers what reports write, and keeps it from the standard error of the tests.
class reportwatch
{
public:
    reportwatch() : m_standardError(std::cerr.rdbuf(m_written.rdbuf()))
    {
        trace::output(m_sink).setLevel(tl_error);
    }

    ~reportwatch()
    {
        trace::remove(ostreamtracestream<char>(std::cerr));
        trace::remove(m_sink);
        std::cerr.rdbuf(m_standardError);
    }

    reportwatch(const reportwatch&) = delete;
    reportwatch& operator=(const reportwatch&) = delete;

    std::vector<std::wstring> bodies()
    {
        trace::sync(10000);
        return m_sink.bodies();
    }

    std::string standardError() const { return m_written.str(); }

private:
    std::ostringstream m_written;
    std::streambuf* m_standardError;
    remembersink m_sink;
};

} // namespace

TEST_CASE("an invalid parameter of unknown place is reported in general words", "[stacktrace]")
{
    reportwatch watch;

    faults::onInvalidParameter(nullptr, nullptr, nullptr, 0);
    faults::onInvalidParameter(L"x", nullptr, L"a.c", 5);

    const auto bodies = watch.bodies();
    CHECK(std::count(bodies.begin(), bodies.end(), L"Invalid CRT Parameter. Trace follows:") == 2);
}

TEST_CASE("an invalid parameter is reported by its expression, function, file and line",
          "[stacktrace]")
{
    reportwatch watch;

    faults::onInvalidParameter(L"x", L"f", L"a.c", 5);

    REQUIRE_FALSE(watch.bodies().empty());
    CHECK(watch.bodies().front() == L": x in f in file: a.c at 5. Trace follows:");
}

TEST_CASE("even the shortest place is all that an invalid parameter's report tells", "[stacktrace]")
{
    reportwatch watch;

    faults::onInvalidParameter(L"", L"", L"", 0);

    REQUIRE_FALSE(watch.bodies().empty());
    CHECK(watch.bodies().front() == L":  in  in file:  at 0. Trace follows:");
}

TEST_CASE("an invalid parameter without memory for its report lets the thread go on",
          "[stacktrace]")
{
    reportwatch watch;
    {
        const allocations::failure failure;
        faults::onInvalidParameter(L"expression", L"function", L"file", 5);
    }

    CHECK(watch.bodies().empty());
}

TEST_CASE("a report by a thread that an invalid parameter interrupted lets it go on",
          "[stacktrace]")
{
    reportwatch watch;
    const hashedfunction& running = trace::registerfunction("void running()");
    stacktrace::down(&running);

    faults::onInvalidParameter(nullptr, nullptr, nullptr, 0);

    const auto bodies = watch.bodies();
    CHECK(std::count(bodies.begin(), bodies.end(), L"running") == 1);
    CHECK(stacktrace::getTrace().size() == 0);
}

TEST_CASE("at trace level a report has entry and exit lines of its own", "[stacktrace]")
{
    reportwatch watch;
    trace::setLevel(tl_trace);

    stacktrace::FaultHandler("message");

    const auto bodies = watch.bodies();
    REQUIRE(bodies.size() > 2);
    CHECK(bodies.front() == L"starting");
    CHECK(bodies.back() == L"exiting");
}

TEST_CASE("a report below the error level writes nothing, and attaches standard error all the same",
          "[stacktrace]")
{
    reportwatch watch;
    trace::clearLevels(tl_always);

    stacktrace::FaultHandler("unheard");
    CHECK(watch.bodies().empty());
    CHECK(watch.standardError().empty());

    CHECK(trace::level(std::string("any")) == tl_error);
}
