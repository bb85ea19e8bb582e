#include <tolvane/tolvane.h>

#include "tests/helpers/gate.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

namespace stuck {

void work(int lines)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < lines; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

template <int number>
void enterNew()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "a function that nobody entered before " << number;
}

} // namespace stuck

namespace {

/// Where a pipe leads that nobody reads, until it is read.
class fullpipe : public std::streambuf
{
public:
    bool waitUntilFull() { return m_isFull.wait(); }
    void read() { m_isRead.open(); }

private:
    int overflow(int character) override
    {
        m_isFull.open();
        m_isRead.wait();
        return character;
    }

    gate m_isFull;
    gate m_isRead;
};

/// A custom sink that never comes back from its first line, until it is released.
class stucksink : public tracestream
{
public:
    struct gates
    {
        gate entered;
        gate release;
    };

    explicit stucksink(std::shared_ptr<gates> shared = std::make_shared<gates>())
        : m_gates(std::move(shared))
    {}

    void log(const formattedline&) override
    {
        m_gates->entered.open();
        m_gates->release.wait();
    }

    unsigned long long id() const override { return 0x57; }
    stucksink* clone() const override { return new stucksink(m_gates); }

    gates& gate() const { return *m_gates; }

private:
    std::shared_ptr<gates> m_gates;
};

/// What programs do beside tracing.
void useFacade()
{
    for (int round = 0; round < 20; ++round) {
        trace::setLevel(tl_info);
        trace::setLevel(tl_debug, L"stuck::other");
        trace::clearLevels(L"stuck::other");
        trace::level(std::string("stuck::work"));
        trace::registerfunction("void stuck::registered()");
        trace::lost();
        trace::sync(1);
    }
    trace::clearLevels(tl_info);
    stuck::enterNew<1>();
    stuck::enterNew<2>();
    trace::flush(50);
    trace::flush(0);
}

/// Returns when all is done. A program that stood still would not come back.
void traceBesideStuckSink()
{
    constexpr int threadCount = 4;
    constexpr int lines = 100000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([] { stuck::work(lines); });
    }
    threads.emplace_back(useFacade);
    threads.emplace_back(useFacade);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

TEST_CASE("a custom sink that is stuck for ever stops no thread", "[integration]")
{
    const stucksink sink;
    const unsigned long long lostBefore = trace::lost(trace::busySink);
    trace::output(sink).setLevel(tl_info);
    stuck::work(1);
    REQUIRE(sink.gate().entered.wait());

    traceBesideStuckSink();

    CHECK(trace::lost(trace::busySink) > lostBefore + 390000);
    CHECK_FALSE(trace::sync(0));
    sink.gate().release.open();
    trace::remove(sink);
}

TEST_CASE("a stream that is stuck for ever stops no thread, and a file beside it has every line up "
          "to then",
          "[integration]")
{
    const temporaryfolder folder;
    fullpipe pipe;
    std::ostream stream(&pipe);
    const ostreamtracestream<char> streamSink(stream);
    const filetracestream fileSink(folder.file("trace.log").c_str());
    trace::output(fileSink).setLevel(tl_info);
    stuck::work(10);
    REQUIRE(trace::sync(10000));
    trace::output(streamSink).setLevel(tl_info);
    stuck::work(20);
    REQUIRE(pipe.waitUntilFull());

    const std::string file = folder.read("trace.log");
    CHECK(file.find("line 0\r\n", file.find("line 9\r\n")) != std::string::npos);
    traceBesideStuckSink();

    pipe.read();
    trace::remove(streamSink);
    trace::remove(fileSink);
}

TEST_CASE("who attaches or removes a sink beside a stuck one waits, and nobody waits for him",
          "[integration]")
{
    const stucksink sink;
    const temporaryfolder folder;
    const filetracestream other(folder.file("trace.log").c_str());
    trace::output(sink).setLevel(tl_info);
    stuck::work(1);
    REQUIRE(sink.gate().entered.wait());
    std::atomic<int> done{0};
    std::thread attaching([&] {
        trace::output(other).setLevel(tl_info);
        ++done;
    });
    std::thread removing([&] {
        trace::remove(sink);
        ++done;
    });

    traceBesideStuckSink();

    CHECK(done == 0);
    sink.gate().release.open();
    attaching.join();
    removing.join();
    stuck::work(3);
    trace::remove(other);
    CHECK(folder.read("trace.log").find("line 2\r\n") != std::string::npos);
}
