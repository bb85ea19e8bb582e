/// Traces for a long time, while threads come and go, levels change, sinks come and go and throw,
/// files rotate, processes fork, and everybody flushes and waits. Goes round by round, 1, 2, 64 and
/// 8 threads first, 8 threads from then on. After each it checks for three sinks that each line
/// which was made was either written or lost or refused, that those written came in order, whole
/// and once, and at the end that the rounds behind the first four have left no memory in use.
///
/// Argument: for how many seconds, 20 without one. Prints a line with tabs: seconds, lines made
/// while the sinks were attached; of the three sinks together lines written, lost, refused; forks,
/// rotations, bytes of the process in memory before and behind the later rounds, and "ok" or what
/// was wrong first. Exit status 1: something was.

#include <tolvane/tolvane.h>

#include "bench/residentsize.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/traceimpltest.h"
#include "tests/soak/forks.h"
#include "tests/soak/maker.h"
#include "tests/soak/passingsink.h"
#include "tests/soak/permanentsinks.h"
#include "tests/soak/verdict.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::steady_clock;

constexpr int usualThreads = 8;
constexpr double longestRound = 5; ///< seconds
constexpr int fewestRounds = 8;
constexpr unsigned long long linesOfChild = 20;

struct totals
{
    unsigned long long made = 0;
    soakcounts counts;
    unsigned long long forks = 0;
    unsigned long long rotations = 0;
    unsigned long long syncsChecked = 0;
    unsigned long long threads = 0;
};

/// One round: everything in it begins anew.
class soakround
{
public:
    soakround(int threads, steady_clock::time_point end) : m_threads(threads), m_end(end) {}

    void run(totals& all)
    {
        traceimpl& dispatcher = traceimpltest::instance();
        const unsigned long long nobodysBefore = traceimpltest::nobodys(dispatcher);
        startMakers();
        while (traceimpltest::nobodys(dispatcher) == nobodysBefore) {
            std::this_thread::yield(); // until there are lines for nobody
        }
        m_sinks.attach();
        keepStill();
        change();
        m_state.goOn = false;
        for (std::thread& thread : m_running) {
            thread.join();
        }
        verdict::check(trace::sync(60000), "lines were neither written nor lost within a minute");
        const unsigned long long nobodys = traceimpltest::nobodys(dispatcher) - nobodysBefore;
        const unsigned long long offered = m_state.recordsMade - nobodys;
        m_sinks.finish(offered, m_forks * linesOfChild);
        all.made += offered;
        all.counts += m_sinks.counts();
        all.forks += m_forks;
        all.rotations += m_sinks.rotations();
        all.syncsChecked += m_state.syncsChecked;
        all.threads += m_state.threads;
    }

private:
    void startMakers()
    {
        for (int number = 0; number < m_threads; ++number) {
            m_makers.push_back(std::make_unique<maker>(number, m_sinks.ordered(), m_state));
            m_running.emplace_back([&made = *m_makers.back()] { made.live(); });
        }
    }

    bool isOver() const { return steady_clock::now() >= m_end; }

    /// Until a wait could be checked, which needs levels that stay and no line lost, if that comes.
    void keepStill() const
    {
        const auto longest = steady_clock::now() + std::chrono::seconds(1);
        while (m_state.syncsChecked == 0 && steady_clock::now() < longest) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    /// Changes sinks and levels and forks until the end.
    void change()
    {
        const unsigned long long permanentId = m_sinks.ordered().id();
        for (unsigned long long id = 1000; !isOver(); ++id) {
            passingsink first(id, m_random);
            passingsink second(id + 1000000, m_random);
            first.come(permanentId);
            for (auto times = m_random() % 20; times != 0 && !isOver(); --times) {
                changeLevels();
                std::this_thread::sleep_for(std::chrono::milliseconds(m_random() % 5));
                first.checkCounts(permanentId);
                stacktrace::getTraces();
            }
            second.come(permanentId);
            second.checkCounts(permanentId);
            forkOnce();
            first.go();
            second.go();
            ++m_state.levelChanges;
            trace::clearLevels(tl_trace);
            m_sinks.setLevels(tl_warning);
            ++m_state.levelChanges;
        }
    }

    void changeLevels()
    {
        ++m_state.levelChanges;
        trace::setLevel(randomLevel(), L"soak");
        trace::setLevel(randomLevel(), L"soak::work");
        m_sinks.setLevels(std::min(randomLevel(), tl_info));
        ++m_state.levelChanges;
    }

    tracelevel_t randomLevel() { return static_cast<tracelevel_t>(m_random() % 7); }

    void forkOnce()
    {
        const forks::outcome outcome = forks::run([this] { return traceInChild(); });
        verdict::check(outcome != forks::outcome::wrong, "a forked process failed");
        m_forks += outcome == forks::outcome::right ? 1 : 0;
    }

    bool traceInChild()
    {
        m_sinks.leaveToChild();
        const unsigned long long before = m_sinks.fileCounts().written;
        static const hashedfunction& function = trace::registerfunction("void soak::child()");
        for (unsigned long long line = 1; line <= linesOfChild; ++line) {
            const auto number = static_cast<long long>(m_forks * linesOfChild + line);
            const soakrecord record{lineorder::children, number, -1, 0};
            traceimpltest::queue(traceimpltest::instance(), function, tl_always,
                                 record.text().c_str());
        }
        return trace::sync(10000) && m_sinks.fileCounts().written == before + linesOfChild;
    }

    const int m_threads;
    const steady_clock::time_point m_end;
    soakstate m_state;
    permanentsinks m_sinks;
    std::vector<std::unique_ptr<maker>> m_makers;
    std::vector<std::thread> m_running;
    std::minstd_rand m_random{99};
    unsigned long long m_forks = 0;
};

struct memoryuse
{
    long long resident = bench::residentSize();
    long long allocated = allocations::bytesInUse();

    /// Between rounds: without what the dispatcher keeps for lines to come, or has in its hands.
    static memoryuse now()
    {
        verdict::check(traceimpltest::waitForWriter(traceimpltest::instance()), "no pass ended");
        traceimpltest::emptyQueue(traceimpltest::instance());
        return {};
    }
};

/// What a process may have more in the end than after some rounds, since threads happen to meet
/// more closely in one round than in another.
constexpr long long mostAllocated = 4 * 1024;
constexpr long long mostResident = 16 * 1024 * 1024;

/// The stacks of threads that ended are remembered by 4 bytes each, in a table that is between 7/16
/// and 7/8 full.
long long mostRemembered(const totals& before, const totals& after)
{
    return static_cast<long long>(after.threads * 64 / 7 - before.threads * 32 / 7);
}

void checkMemory(const memoryuse& before, const memoryuse& after, long long mostRemembered)
{
    const long long allocated = after.allocated - before.allocated;
    verdict::check(allocated <= mostAllocated + mostRemembered,
                   std::to_string(allocated) + " bytes more are allocated than after the warm-up");
    const long long resident = after.resident - before.resident;
    // the sanitizers keep what was released
    verdict::check(sanitizer::present || resident <= mostResident,
                   std::to_string(resident) + " bytes more are in memory than after the warm-up");
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 20;
    const auto begin = steady_clock::now();
    const auto round = std::chrono::duration_cast<steady_clock::duration>(
        std::chrono::duration<double>(std::min(longestRound, seconds / fewestRounds)));
    const auto end = begin + std::chrono::duration_cast<steady_clock::duration>(
                                 std::chrono::duration<double>(seconds));
    totals all;
    for (const int threads : {1, 2, lineorder::makers, usualThreads}) {
        soakround(threads, steady_clock::now() + round).run(all);
    }
    const memoryuse before = memoryuse::now();
    const totals warmedUp = all;
    do {
        soakround(usualThreads, steady_clock::now() + round).run(all);
    } while (steady_clock::now() + round / 2 < end);
    const memoryuse after = memoryuse::now();
    checkMemory(before, after, mostRemembered(warmedUp, all));
    verdict::check(all.syncsChecked > 0, "no wait could be checked");

    const std::chrono::duration<double> took = steady_clock::now() - begin;
    std::cout << std::fixed << std::setprecision(1) << took.count() << '\t' << all.made << '\t'
              << all.counts.written << '\t' << all.counts.lost << '\t' << all.counts.refused << '\t'
              << all.forks << '\t' << all.rotations << '\t' << before.resident << '\t'
              << after.resident << '\t' << verdict::text() << std::endl;
    return verdict::isRight() ? 0 : 1;
}
