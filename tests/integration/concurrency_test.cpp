#include <tolvane/tolvane.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace crowd {

void work(int thread, int round)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "thread " << thread << " round " << round;
    log.reset();
    TOLVANE_LOGF(log, tl_debug, "%d of %d", round, thread);
    log(tl_error) << L"error " << thread << std::endl;
}

void important(int thread, int round)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "important " << thread << ' ' << round;
}

} // namespace crowd

namespace {

void inThreads(int count, const std::function<void(int)>& action)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back(action, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

TEST_CASE("threads trace while sinks are attached and removed and levels change", "[integration]")
{
    constexpr int tracingThreads = 8;
    constexpr int changes = 30;
    const temporaryfolder folder;
    std::ostringstream stream;
    const remembersink remembering;
    const filetracestream fileSink(folder.file("trace.log").c_str());
    const ostreamtracestream<char> streamSink(stream);
    std::atomic<int> changing{2};
    std::thread attaching([&] {
        for (int round = 0; round < changes; ++round) {
            const remembersink passing;
            const attached first(passing);
            const attached second(fileSink);
            const attached third(streamSink);
            trace::output(passing); // replaces itself
        }
        --changing;
    });
    std::thread levels([&] {
        for (int round = 0; round < changes; ++round) {
            trace::setLevel(trace::getLevelFromInt(round % 7, tl_info));
            trace::setLevel(tl_trace, L"crowd::work");
            trace::level(std::string("crowd::work"));
            trace::clearLevels(L"crowd");
            trace::clearLevels(tl_error);
            trace::clearLevels(tolvane::string());
            trace::flush(round % 3 == 0 ? 0 : 20);
            stacktrace::getTraces();
        }
        --changing;
    });

    inThreads(tracingThreads, [&](int thread) {
        for (int round = 0; changing != 0; ++round) {
            crowd::work(thread, round);
        }
    });
    attaching.join();
    levels.join();

    // and it all works still
    const attached attachment(remembering, tl_info);
    crowd::important(1, 2);
    trace::sync(10000);
    CHECK(remembering.bodies().back() == L"important 1 2");
}

TEST_CASE("a sink gets every line of every thread, each thread's in order", "[integration]")
{
    constexpr int tracingThreads = 8;
    constexpr int rounds = 200;
    constexpr std::size_t all = tracingThreads * rounds;
    const remembersink sink;
    {
        const attached attachment(sink);
        inThreads(tracingThreads, [](int thread) {
            for (int round = 0; round < rounds; ++round) {
                crowd::important(thread, round);
            }
        });
        // removing the sink during a pass that takes long would drop what came after it
        for (int tries = 0; tries < 100 && sink.bodies().size() != all; ++tries) {
            trace::flush(10);
        }
    }

    std::vector<int> next(tracingThreads, 0);
    int inOrder = 0;
    for (const std::wstring& body : sink.bodies()) {
        std::wistringstream words(body);
        std::wstring word;
        int thread = -1;
        int round = -1;
        words >> word >> thread >> round;
        REQUIRE(thread >= 0);
        inOrder += next[static_cast<std::size_t>(thread)]++ == round ? 1 : 0;
    }
    CHECK(inOrder == tracingThreads * rounds);
}

TEST_CASE("threads that flush and remove at once write every line once", "[integration]")
{
    constexpr int tracingThreads = 4;
    constexpr int rounds = 100;
    const remembersink sink;
    {
        const attached attachment(sink);
        inThreads(tracingThreads, [](int thread) {
            for (int round = 0; round < rounds; ++round) {
                crowd::important(thread, round);
                if (round % 10 == 0) {
                    trace::flush(static_cast<unsigned long long>(thread));
                }
            }
        });
    }

    CHECK(sink.count() == tracingThreads * rounds);
}
