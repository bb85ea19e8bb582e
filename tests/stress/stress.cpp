/// Traces from 1, 2, 8 and 64 threads, while levels change, sinks come and go, threads end, and
/// everybody flushes and waits; then checks the order of every line, and that each record was, for
/// each sink that was attached when it was drained, either written or lost or refused, and once
/// refused when there was none.
///
/// Argument: for how many seconds, 30 without one. Ends with 1 when something is wrong.

#include <tolvane/tolvane.h>

#include "tests/helpers/traceimpltest.h"
#include "tests/stress/orderedsink.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::steady_clock;

/// A record that is known to be queued, for others to tell that theirs came later.
struct knownrecord
{
    int maker;
    int number; ///< both in one word, for threads to read at once
};

std::atomic<unsigned long long> recordsMade{0};
std::atomic<unsigned long long> syncsChecked{0};
std::atomic<unsigned int> levelChanges{0}; ///< odd while they change
std::atomic<bool> goOn{true};
std::atomic<knownrecord> lastKnown{knownrecord{-1, 0}};
std::atomic<bool> failed{false};

void check(bool right, const std::string& what)
{
    if (!right) {
        std::cout << "WRONG: " << what << std::endl;
        failed = true;
    }
}

/// Makes records, in whatever thread it runs; a new one takes over where the last one ended.
class maker
{
public:
    maker(int number, const orderedsink& permanent)
        : m_number(number), m_permanent(permanent), m_random(static_cast<unsigned int>(number) + 7)
    {}

    void work(int records)
    {
        static const hashedfunction& function = trace::registerfunction("void stress::work()");
        TOLVANE_SCOPE(log);
        countMarker(log); // the entry line
        for (int record = 0; record < records && goOn; ++record) {
            makeOne(function, log);
        }
        countMarker(log); // the exit line
    }

private:
    template <class scope_t>
    static void countMarker(const scope_t& log)
    {
        if (log.takes(tl_trace)) {
            ++recordsMade;
        }
    }

    template <class scope_t>
    void makeOne(const hashedfunction& function, scope_t& log)
    {
        const auto level = static_cast<tracelevel_t>(m_random() % 7);
        const knownrecord known = lastKnown;
        const long long number = ++m_made;
        const auto action = m_random() % 1000;
        const beforesync before = isSync(action) ? beforesync{} : beforesync{0, 0};
        if (action % 2 == 0 && log.takes(level)) {
            ++recordsMade;
            TOLVANE_LOG(log, level) << m_number << ' ' << number << " after " << known.maker << ' '
                                    << known.number << filler();
        } else if (action % 16 == 1) {
            ++recordsMade;
            traceimpltest::instance().queueMarker(function, formattedline::tt_starting);
            return;
        } else {
            ++recordsMade;
            const std::wstring text = std::to_wstring(m_number) + L' ' + std::to_wstring(number) +
                                      L" after " + std::to_wstring(known.maker) + L' ' +
                                      std::to_wstring(known.number);
            tolvane::string line(text.c_str());
            traceimpltest::instance().queueLine(level, function, line);
        }
        if (action < 50) {
            lastKnown = knownrecord{m_number, static_cast<int>(number)};
        }
        doElse(action, log);
        if (isSync(action)) {
            checkSync(number, before);
        }
    }

    static bool isSync(unsigned long action) { return action == 102 || action == 103; }

    std::string filler() { return std::string(m_random() % 50 == 0 ? 3000 : m_random() % 60, ' '); }

    template <class scope_t>
    static void doElse(unsigned long action, scope_t& log)
    {
        switch (action) {
        case 100:
            trace::flush(0);
            break;
        case 101:
            trace::flush(1);
            break;
        case 104:
            log.reset();
            break;
        case 105:
            trace::level(std::string("stress::work"));
            break;
        default:
            break;
        }
    }

    struct beforesync
    {
        unsigned long long lost = trace::lost();
        unsigned int levelChanges = ::levelChanges;

        bool isStillSo() const { return lost == trace::lost() && levelChanges == ::levelChanges; }
    };

    /// The permanent sink takes every level but while levels change: when nothing was lost
    /// meanwhile, the record has reached it.
    void checkSync(long long number, const beforesync& before)
    {
        const bool isAttached = m_permanent.found().written != 0 && before.levelChanges % 2 == 0;
        if (trace::sync(20) && isAttached && before.isStillSo()) {
            ++syncsChecked;
            check(m_permanent.found().last[static_cast<std::size_t>(m_number)] >= number,
                  "sync returned before the line had been written");
        }
    }

    const int m_number;
    const orderedsink& m_permanent;
    std::minstd_rand m_random;
    long long m_made = 0;
};

unsigned long long total(const sinkcounts& counts)
{
    unsigned long long all = counts.written + counts.refused;
    for (const auto& lost : counts.lost) {
        all += lost;
    }
    return all;
}

/// Lets a sink come, checks its counts against those of the one that stays, and lets it go.
class passingsink
{
public:
    passingsink(unsigned long long id, std::minstd_rand& random)
        : m_sink(id, random() % 2 == 0 ? 400 : 0, random() % 2 == 0 ? 100 : 0), m_id(id)
    {}

    void come(unsigned long long permanentId)
    {
        traceimpltest::withBothLocks([&] {
            trace::output(m_sink).setLevel(tl_info);
            m_before = total(traceimpltest::countsNow(permanentId));
        });
    }

    void checkCounts(unsigned long long permanentId) const
    {
        traceimpltest::withBothLocks([&] {
            const unsigned long long mine = total(traceimpltest::countsNow(m_id));
            const unsigned long long its = total(traceimpltest::countsNow(permanentId));
            check(mine == its - m_before, "a sink was offered " + std::to_string(mine) +
                                              " records while another one was offered " +
                                              std::to_string(its - m_before));
            check(traceimpltest::countsNow(m_id).written == m_sink.found().written,
                  "a sink got other lines than were counted");
            check(traceimpltest::countsNow(m_id).lost[trace::destination] == m_sink.found().thrown,
                  "a sink threw at other lines than were counted");
        });
    }

    void go() const
    {
        trace::remove(m_sink);
        checkOrder(m_sink);
    }

    static void checkOrder(const orderedsink& sink)
    {
        check(sink.found().torn == 0, "torn lines: " + std::to_string(sink.found().torn));
        check(sink.found().overtaken == 0,
              "lines that were overtaken: " + std::to_string(sink.found().overtaken));
    }

private:
    orderedsink m_sink;
    const unsigned long long m_id;
    unsigned long long m_before = 0;
};

/// Changes sinks and levels until the end.
void change(unsigned long long permanentId, steady_clock::time_point end)
{
    std::minstd_rand random(99);
    for (unsigned long long id = 1000; steady_clock::now() < end; ++id) {
        passingsink first(id, random);
        passingsink second(id + 1000000, random);
        first.come(permanentId);
        for (auto rounds = random() % 20; rounds != 0 && steady_clock::now() < end; --rounds) {
            ++levelChanges;
            trace::setLevel(static_cast<tracelevel_t>(random() % 7), L"stress");
            trace::setLevel(static_cast<tracelevel_t>(random() % 7), L"stress::work");
            traceimpltest::setLevel(permanentId, tl_trace);
            ++levelChanges;
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 5));
            first.checkCounts(permanentId);
            stacktrace::getTraces();
        }
        second.come(permanentId);
        second.checkCounts(permanentId);
        first.go();
        second.go();
        trace::clearLevels(tl_trace);
    }
}

/// Each maker's records come from one thread after another.
void makeRecords(maker& makes)
{
    while (goOn) {
        std::thread([&makes] { makes.work(3000); }).join();
    }
}

void run(int threads, double seconds)
{
    constexpr unsigned long long permanentId = 1;
    const orderedsink permanent(permanentId);
    goOn = true;
    lastKnown = knownrecord{-1, 0};
    const unsigned long long made = recordsMade;
    const unsigned long long nobodys = traceimpltest::nobodys(traceimpltest::instance());
    const unsigned long long lost = trace::lost();
    const auto end =
        steady_clock::now() + std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
    std::vector<std::unique_ptr<maker>> makers;
    std::vector<std::thread> running;
    for (int number = 0; number < threads; ++number) {
        makers.push_back(std::make_unique<maker>(number, permanent));
        running.emplace_back(makeRecords, std::ref(*makers.back()));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // records for nobody
    traceimpltest::withBothLocks([&] { trace::output(permanent).setLevel(tl_trace); });
    change(permanentId, end);
    goOn = false;
    for (std::thread& thread : running) {
        thread.join();
    }
    check(trace::sync(60000), "lines were neither written nor lost within a minute");

    traceimpltest::withBothLocks([&] {
        const sinkcounts& counts = traceimpltest::countsNow(permanentId);
        const unsigned long long nobodysNow =
            traceimpltest::nobodys(traceimpltest::instance()) - nobodys;
        check(total(counts) + nobodysNow == recordsMade - made,
              "of " + std::to_string(recordsMade - made) + " records " +
                  std::to_string(total(counts)) + " were offered to the sink and " +
                  std::to_string(nobodysNow) + " to nobody");
        check(counts.written == permanent.found().written, "the sink got other lines than counted");
        check(counts.written > 1000 && nobodysNow > 0, "hardly a line was written");
    });
    passingsink::checkOrder(permanent);
    trace::remove(permanent);
    std::cout << threads << " threads: " << recordsMade - made << " records, "
              << permanent.found().written << " written, " << trace::lost() - lost << " lost"
              << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 30;
    for (const int threads : {1, 2, 8, orderedsink::makers}) {
        run(threads, seconds / 4);
    }
    check(syncsChecked > 0, "no wait could be checked");
    std::cout << (failed ? "failed" : "all right") << std::endl;
    return failed ? 1 : 0;
}
