#include <tolvane/tolvane.h>

#include "support/stamps.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// What a sink is told of a line beside its text: the thread's name, and the moment.

namespace {

using named_t = std::vector<std::pair<std::wstring, std::wstring>>;

/// The texts of what is queued, each with its thread's name.
named_t named(quietdispatcher& quiet)
{
    named_t found;
    for (const formattedline& line : traceimpltest::records(quiet.dispatcher)) {
        found.emplace_back(line.threadName().c_str(), line.text().c_str());
    }
    return found;
}

/// Without a thread's name of before.
template <class work_t>
void onOwnThread(const work_t& work)
{
    std::thread(work).join();
}

} // namespace

TEST_CASE("a line has the name that its thread had when it was traced", "[trace][threadname]")
{
    quietdispatcher quiet;
    onOwnThread([&] {
        quiet.queue(tl_error, L"before");
        quiet.dispatcher.nameThread(L"first");
        quiet.queue(tl_error, L"one");
        quiet.queue(tl_error, L"two");
        quiet.dispatcher.nameThread(L"a longer second name");
        quiet.queue(tl_error, L"three");
        quiet.dispatcher.nameThread(L"");
        quiet.queue(tl_error, L"four");
    });

    CHECK(named(quiet) == named_t{{L"", L"before"},
                                  {L"first", L"one"},
                                  {L"first", L"two"},
                                  {L"a longer second name", L"three"},
                                  {L"", L"four"}});
}

TEST_CASE("each thread has a name of its own, that of its lines when it has ended, too",
          "[trace][threadname]")
{
    quietdispatcher quiet;
    onOwnThread([&] {
        quiet.dispatcher.nameThread(L"named first of all");
        quiet.queue(tl_error, L"a");
    });
    onOwnThread([&] { quiet.queue(tl_error, L"b"); });
    onOwnThread([&] {
        quiet.queue(tl_error, L"c");
        quiet.dispatcher.nameThread(L"later");
        quiet.queue(tl_error, L"d");
    });

    CHECK(named(quiet) ==
          named_t{{L"named first of all", L"a"}, {L"", L"b"}, {L"", L"c"}, {L"later", L"d"}});
}

TEST_CASE("a thread has its name for every dispatcher", "[trace][threadname]")
{
    quietdispatcher quiet;
    quietdispatcher other;
    onOwnThread([&] {
        quiet.dispatcher.nameThread(L"worker");
        other.queue(tl_error, L"x");
    });

    CHECK(named(other) == named_t{{L"worker", L"x"}});
}

TEST_CASE("a line of a thread that has left its stage has the thread's name", "[trace][threadname]")
{
    quietdispatcher quiet;
    onOwnThread([&] {
        quiet.dispatcher.nameThread(L"worker");
        quiet.queue(tl_error, L"first");
        traceimpltest::leaveThread();
        quiet.queue(tl_error, L"last");
    });

    CHECK(named(quiet) == named_t{{L"worker", L"first"}, {L"worker", L"last"}});
}

TEST_CASE("a thread may be named while its own objects are destroyed", "[trace][threadname]")
{
    quietdispatcher quiet;
    static quietdispatcher* ending = nullptr;
    ending = &quiet;
    struct namer
    {
        ~namer()
        {
            if (isActive) {
                ending->queue(tl_error, L"unnamed");
                ending->dispatcher.nameThread(L"at the end");
                ending->queue(tl_error, L"last");
            }
        }

        bool isActive = false;
    };
    for (const bool hasTraced : {false, true}) {
        onOwnThread([&] {
            thread_local namer late;
            late.isActive = true;
            if (hasTraced) {
                quiet.queue(tl_error, L"first");
            }
        });
    }

    CHECK(named(quiet) == named_t{{L"", L"unnamed"},
                                  {L"at the end", L"last"},
                                  {L"", L"first"},
                                  {L"", L"unnamed"},
                                  {L"at the end", L"last"}});
}

TEST_CASE("names of threads that are gone are not kept", "[trace][threadname]")
{
    constexpr int threads = 300;
    constexpr long long bytesOfName = 4 * 500;
    quietdispatcher quiet;
    const auto endThreads = [&](int count) {
        for (int thread = 0; thread < count; ++thread) {
            onOwnThread([&] {
                quiet.dispatcher.nameThread(std::wstring(500, L'n'));
                quiet.queue(tl_error, L"a line");
                quiet.dispatcher.nameThread(std::wstring(500, L'm'));
                quiet.queue(tl_error, L"another line");
            });
            traceimpltest::emptyQueue(quiet.dispatcher);
        }
    };
    endThreads(20); // whatever is made once
    const long long before = allocations::bytesInUse();

    endThreads(threads);

    CHECK(allocations::bytesInUse() - before < threads * bytesOfName / 10);
}

TEST_CASE("a name for which there is no memory leaves the one before", "[trace][threadname]")
{
    quietdispatcher quiet;
    onOwnThread([&] {
        quiet.dispatcher.nameThread(L"before");
        const tolvane::string longer(std::wstring(100, L'n'));
        {
            const allocations::failure noMemory;
            CHECK_THROWS_AS(quiet.dispatcher.nameThread(longer), std::bad_alloc);
        }
        quiet.queue(tl_error, L"x");
    });

    CHECK(named(quiet) == named_t{{L"before", L"x"}});
}

TEST_CASE("amid the library's work a thread keeps its name", "[trace][threadname]")
{
    quietdispatcher quiet;
    onOwnThread([&] {
        quiet.dispatcher.nameThread(L"before");
        const std::function<void()> rename = [&] { quiet.dispatcher.nameThread(L"inner"); };
        {
            const allocations::interruption interrupted(0, rename);
            quiet.dispatcher.registerfunction("void g()");
        }
        quiet.queue(tl_error, L"x");
    });

    CHECK(named(quiet) == named_t{{L"before", L"x"}});
}

TEST_CASE("lines tell when they were traced, in the order of their making", "[trace][linetime]")
{
    using namespace std::chrono;
    const auto now = [] {
        return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    };
    constexpr long long millisecond = 1000000; // nanoseconds
    quietdispatcher quiet;
    const long long before = now();
    quiet.queue(500, tl_error, L"x");
    const long long after = now();
    const std::vector<formattedline> lines = traceimpltest::records(quiet.dispatcher);

    REQUIRE(lines.size() == 500);
    long long last = before - millisecond;
    for (const formattedline& line : lines) {
        REQUIRE(line.time() >= last);
        last = line.time();
    }
    CHECK(last <= after + millisecond);
}

TEST_CASE("lines of a millisecond are told apart where stamps count cycles", "[trace][linetime]")
{
    constexpr long long millisecond = 1000000; // nanoseconds
    quietdispatcher quiet;
    quiet.queue(500, tl_error, L"x");
    int whole = 0;
    for (const formattedline& line : traceimpltest::records(quiet.dispatcher)) {
        whole += line.time() % millisecond == 0 ? 1 : 0;
    }

    if (tolvane::stamps::areCycles()) {
        CHECK(whole < 100);
    } else {
        CHECK(whole == 500);
    }
}

TEST_CASE("a line's time is in the millisecond that its text shows", "[trace][linetime]")
{
    quietdispatcher quiet;
    quiet.queue(300, tl_error, L"x");

    for (formattedline& line : traceimpltest::records(quiet.dispatcher)) {
        const auto shown = static_cast<long long>(formattedlinetest::time(line));
        REQUIRE((shown - line.time() / 1000000) % 60000 == 0);
    }
}
