#pragma once

#include <tolvane/tolvane.h>

#include "tests/helpers/traceimpltest.h"
#include "tests/soak/orderedsink.h"
#include "tests/soak/verdict.h"

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>

/// What the makers and those around them tell each other in a round.
struct soakstate
{
    /// A record that is known to be queued, for others to tell that theirs came later.
    struct knownrecord
    {
        int maker;
        int number; ///< both in one word, for threads to read at once
    };

    std::atomic<unsigned long long> recordsMade{0};
    std::atomic<unsigned long long> syncsChecked{0};
    std::atomic<unsigned long long> threads{0}; ///< that made records
    std::atomic<unsigned int> levelChanges{0};  ///< odd while they change
    std::atomic<bool> goOn{true};
    std::atomic<knownrecord> lastKnown{knownrecord{-1, 0}};
};

/// Makes records, in whatever thread it runs; a new one takes over where the last one ended.
class maker
{
public:
    maker(int number, const orderedsink& permanent, soakstate& state)
        : m_number(number),
          m_permanent(permanent),
          m_state(state),
          m_random(static_cast<unsigned int>(number) + 7)
    {}

    /// Makes records until the end, in one thread after another.
    void live()
    {
        while (m_state.goOn) {
            ++m_state.threads;
            std::thread([this] { work(recordsOfThread); }).join();
            std::this_thread::sleep_for(std::chrono::milliseconds(m_random() % longestPause));
        }
    }

private:
    static constexpr int recordsOfThread = 3000;
    static constexpr unsigned int longestPause = 100; ///< milliseconds; else disks fill

    void work(int records)
    {
        static const hashedfunction& function = trace::registerfunction("void soak::work()");
        TOLVANE_SCOPE(log);
        countMarker(log); // the entry line
        for (int record = 0; record < records && m_state.goOn; ++record) {
            makeOne(function, log);
        }
        waitForLast(function);
        countMarker(log); // the exit line
    }

    template <class scope_t>
    void countMarker(const scope_t& log)
    {
        if (log.takes(tl_trace)) {
            ++m_state.recordsMade;
        }
    }

    template <class scope_t>
    void makeOne(const hashedfunction& function, scope_t& log)
    {
        const auto level = static_cast<tracelevel_t>(m_random() % 7);
        const soakstate::knownrecord known = m_state.lastKnown;
        const long long number = ++m_made;
        const auto action = m_random() % 1000;
        const beforesync before = isSync(action) ? now() : beforesync();
        if (action % 2 == 0 && log.takes(level)) {
            ++m_state.recordsMade;
            TOLVANE_LOG(log, level) << m_number << ' ' << number << " after " << known.maker << ' '
                                    << known.number << filler();
        } else if (action % 16 == 1) {
            ++m_state.recordsMade;
            traceimpltest::instance().queueMarker(function, formattedline::tt_starting);
            return;
        } else {
            queueText(function, level, number, known);
        }
        if (action < 50) {
            m_state.lastKnown = soakstate::knownrecord{m_number, static_cast<int>(number)};
        }
        doElse(action, log);
        if (isSync(action)) {
            checkSync(number, before, 20);
        }
    }

    void queueText(const hashedfunction& function, tracelevel_t level, long long number,
                   const soakstate::knownrecord& known)
    {
        ++m_state.recordsMade;
        const soakrecord record{m_number, number, known.maker, known.number};
        traceimpltest::queue(traceimpltest::instance(), function, level, record.text().c_str());
    }

    /// Lets the lines that wait be written first, so that nothing is lost meanwhile, if nobody else
    /// sees to it.
    void waitForLast(const hashedfunction& function)
    {
        constexpr unsigned long long generous = 1000; // milliseconds
        trace::sync(generous);
        const beforesync before = now();
        const long long number = ++m_made;
        queueText(function, tl_always, number, m_state.lastKnown);
        checkSync(number, before, generous);
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
            trace::level(std::string("soak::work"));
            break;
        default:
            break;
        }
    }

    struct beforesync
    {
        bool isAttached = false;
        unsigned long long lost = 0;
        unsigned int levelChanges = 0;

        bool isStillSo(const beforesync& after) const
        {
            return isAttached && levelChanges % 2 == 0 && lost == after.lost &&
                   levelChanges == after.levelChanges;
        }
    };

    /// A line reaches the permanent sink when that was attached before the line was made.
    beforesync now() const
    {
        return {m_permanent.found().order.lines() != 0, trace::lost(), m_state.levelChanges};
    }

    /// The permanent sink takes every level but while levels change: when nothing was lost
    /// meanwhile, the record has reached it.
    void checkSync(long long number, const beforesync& before, unsigned long long milliseconds)
    {
        if (trace::sync(milliseconds) && before.isStillSo(now())) {
            ++m_state.syncsChecked;
            verdict::check(m_permanent.found().order.last(m_number) >= number,
                           "sync returned before the line had been written");
        }
    }

    const int m_number;
    const orderedsink& m_permanent;
    soakstate& m_state;
    std::minstd_rand m_random;
    long long m_made = 0;
};
