#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/tracedtest.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <complex>
#include <locale>
#include <string>
#include <thread>
#include <vector>

namespace {

using texts_t = std::vector<std::wstring>;

int asked = 0;

int ask()
{
    return ++asked;
}

void branch(bool condition)
{
    // No braces on purpose: the else must belong to this if.
    if (condition)
        TOLVANE_HERE(tl_info) << "true";
    else
        TOLVANE_HERE(tl_info) << "false";
}

int inner()
{
    TOLVANE_HERE(tl_error) << "inner";
    return 2;
}

struct shelf
{
    void put(int count) const
    {
        TOLVANE_HERE(tl_info) << "put " << count;
        [] { TOLVANE_HERE(tl_info) << "lambda"; }();
    }
};

} // namespace

TEST_CASE("a function without a scope traces a line under its own name", "[trace][place]")
{
    const remembersink sink;
    const attached attachment(sink, tl_info);

    shelf().put(3);
    shelf().put(4);
    trace::sync(10000);

    const texts_t lines = sink.lines();
    REQUIRE(lines.size() == 4);
    CHECK(lines[0].find(L":[I]: {anonymous}::shelf::put : put 3") != std::wstring::npos);
    CHECK(lines[1].find(L":[I]: {anonymous}::shelf::put::lambda : lambda") != std::wstring::npos);
    CHECK(lines[2].find(L":[I]: {anonymous}::shelf::put : put 4") != std::wstring::npos);
}

TEST_CASE("a line that no sink takes evaluates nothing", "[trace][place]")
{
    const tracedtest test;
    asked = 0;

    for (int i = 0; i < 3; ++i) {
        TOLVANE_HERE(tl_verbose) << ask();
    }
    CHECK(asked == 0);
    TOLVANE_HERE(tl_info) << ask();

    CHECK(asked == 1);
    CHECK(test.queue.texts() == texts_t{L"1"});
}

TEST_CASE("a line goes by the level in force at its statement, and by its function's",
          "[trace][place]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_error);
    const heldqueue queue;
    const auto put = [] { shelf().put(1); };

    put();
    trace::setLevel(tl_info, "{anonymous}::shelf::put");
    put();
    trace::setLevel(tl_error, "{anonymous}::shelf::put::lambda");
    put();
    trace::clearLevels("{anonymous}");
    put();

    CHECK(queue.texts() == texts_t{L"put 1", L"lambda", L"put 1"});
}

TEST_CASE("a line without a scope fits in everywhere", "[trace][place]")
{
    const tracedtest test;

    branch(true);
    branch(false);
    TOLVANE_HERE(tl_info) << "outer " << inner() << " end";
    TOLVANE_HERE(tl_info) << std::complex<int>(1, 2) << ' ' << [] {
        TOLVANE_HERE(tl_info) << "nested";
        return 3;
    }();

    CHECK(test.queue.texts() ==
          texts_t{L"true", L"false", L"inner", L"outer 2 end", L"nested", L"(1,2) 3"});
    CHECK(test.queue.entries()[2].level == tl_error);
    CHECK(test.queue.entries()[3].level == tl_info);
}

TEST_CASE("a line without a scope leaves the call stack and has no entry lines", "[trace][place]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_trace);
    const heldqueue queue;
    const auto before = stacktrace::getTrace().size();
    decltype(stacktrace::getTrace().size()) amid = ~before;

    TOLVANE_HERE(tl_trace) << "line" << (amid = stacktrace::getTrace().size(), "");

    CHECK(amid == before);
    CHECK(stacktrace::getTrace().size() == before);
    CHECK(queue.texts() == texts_t{L"line"});
}

TEST_CASE("a line without a scope is written in the application's locale", "[trace][place]")
{
    class comma : public std::numpunct<wchar_t>
    {
        wchar_t do_decimal_point() const override { return L','; }
    };
    const localeguard guard(std::locale(std::locale::classic(), new comma));
    const tracedtest test;

    TOLVANE_HERE(tl_info) << 1.5;

    CHECK(test.queue.texts() == texts_t{L"1,5"});
}

TEST_CASE("a function is registered once, however many threads come to the statement first",
          "[trace][place]")
{
    const remembersink sink;
    const attached attachment(sink, tl_info);
    const auto statement = [](int thread) { TOLVANE_HERE(tl_info) << thread; };
    const std::size_t before = traceimpltest::functions(traceimpltest::instance());

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back(statement, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    trace::sync(10000);

    CHECK(sink.count() == 8);
    CHECK(traceimpltest::functions(traceimpltest::instance()) == before + 1);
}
