#include <tolvane/flushguard.h>

#include <tolvane/scope.h>
#include <tolvane/trace.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/probesink.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>

using tolvane::FlushGuard;

static_assert(std::is_nothrow_default_constructible_v<FlushGuard>);
static_assert(std::is_nothrow_destructible_v<FlushGuard>);
static_assert(!std::is_copy_constructible_v<FlushGuard>);

namespace {

void traceLines(int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line";
    }
}

} // namespace

TEST_CASE("behind a guard's end all lines are written that any thread had traced", "[trace]")
{
    constexpr int lines = 500;
    const probesink sink(1);
    const attached all(sink, tl_info);
    {
        const FlushGuard guard;
        std::thread(traceLines, lines).join();
        traceLines(lines);
    }

    CHECK(sink.events().size() == 1 + 2 * lines); // the clone's, and the lines
}

TEST_CASE("a guard waits for a sink that is stuck as long as it was told", "[trace]")
{
    using std::chrono::steady_clock;
    gate stuck;
    auto told = std::make_shared<probesink::report>();
    told->onLog = [&stuck](const std::wstring&) { stuck.wait(); };
    const probesink sink(1, told);
    const attached all(sink, tl_info);
    const steady_clock::time_point start = steady_clock::now();
    {
        const FlushGuard guard(50);
        traceLines(1);
    }
    const auto took = steady_clock::now() - start;
    stuck.open();

    CHECK(took >= std::chrono::milliseconds(49)); // the clock shows whole ones
    CHECK(took < std::chrono::seconds(5));
}
