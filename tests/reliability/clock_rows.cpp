#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "support/clock.h"
#include "support/filesystem.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <ctime>
#include <cwctype>
#include <map>
#include <mutex>
#include <thread>

namespace reliability {

namespace {

using std::chrono::steady_clock;

constexpr long long hour = 3600; // seconds

/// The platform's clock, set otherwise. The library's threads may use it until the process ends.
class movedclock : public tolvane::Clock
{
public:
    static movedclock& inUse()
    {
        static auto* const clock = new movedclock;
        use(clock);
        return *clock;
    }

    /// \param system  seconds by which the system's clock is ahead of the true one.
    /// \param zone    seconds by which the zone's offset is greater than it was.
    void set(long long system, long long zone = 0)
    {
        m_system = system;
        m_zone = zone;
    }

    /// Seconds since 1970, UTC.
    unsigned long long utc() const
    {
        return static_cast<unsigned long long>(std::time(nullptr) + m_system);
    }

    unsigned long long ticks() const noexcept override
    {
        return platform().ticks() + static_cast<unsigned long long>(m_system * 10000000);
    }

    unsigned long long localMilliseconds() const noexcept override
    {
        return platform().localMilliseconds() + ahead();
    }

    unsigned long long
    localMilliseconds(unsigned long long& nanosecondsLeft) const noexcept override
    {
        return platform().localMilliseconds(nanosecondsLeft) + ahead();
    }

    unsigned long long monotonicMilliseconds() const noexcept override
    {
        return platform().monotonicMilliseconds();
    }

    void sleep(unsigned int milliseconds) const noexcept override
    {
        platform().sleep(milliseconds);
    }

private:
    movedclock() = default;

    unsigned long long ahead() const noexcept
    {
        return static_cast<unsigned long long>((m_system + m_zone) * 1000);
    }

    std::atomic<long long> m_system{0};
    std::atomic<long long> m_zone{0};
};

/// The platform's files, which are created at the time that such a clock shows.
class datedfiles : public tolvane::FileSystem
{
public:
    static datedfiles& inUse(const movedclock& clock)
    {
        static auto* const files = new datedfiles(clock);
        use(files);
        return *files;
    }

    bool status(const std::string& path, tolvane::FileStatus& status) const override
    {
        if (!platform().status(path, status)) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_created.find(path);
        if (found != m_created.end()) {
            status.created = found->second;
        }
        return true;
    }

    bool exists(const std::string& path) const override { return platform().exists(path); }

    void remove(const std::string& path) const override
    {
        platform().remove(path);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_created.erase(path);
    }

    void rename(const std::string& from, const std::string& to) const override
    {
        platform().rename(from, to);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_created[to] = m_created[from];
        m_created.erase(from);
    }

    void createEmpty(const std::string& path) const override
    {
        platform().createEmpty(path);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_created[path] = m_clock.utc();
        ++m_started;
    }

    bool numbersBehind(const std::string& path,
                       std::vector<unsigned long long>& numbers) const override
    {
        return platform().numbersBehind(path, numbers);
    }

    tolvane::Appended append(const std::string& path, const tolvane::Lines& lines,
                             bool mayWait) const noexcept override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_created.try_emplace(path, m_clock.utc());
        }
        return platform().append(path, lines, mayWait);
    }

    bool identify(const std::string& path, tolvane::FileIdentity& identity) const noexcept override
    {
        return platform().identify(path, identity);
    }

    /// How often a new file was started.
    unsigned long long started() const { return m_started; }

private:
    explicit datedfiles(const movedclock& clock) : m_clock(clock) {}

    const movedclock& m_clock;
    mutable std::mutex m_mutex;
    mutable std::map<std::string, unsigned long long> m_created;
    mutable std::atomic<unsigned long long> m_started{0};
};

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

/// Whether a line begins with a stamp such as "[2024-03-05 14:07:09.045]:".
bool hasStamp(const std::wstring& line, const std::wstring& year)
{
    const std::wstring pattern = L"[0000-00-00 00:00:00.000]:";
    if (line.size() < pattern.size() || line.compare(1, year.size(), year) != 0) {
        return false;
    }
    return std::equal(pattern.begin(), pattern.end(), line.begin(), [](wchar_t is, wchar_t has) {
        return is == L'0' ? std::iswdigit(static_cast<std::wint_t>(has)) != 0 : is == has;
    });
}

constexpr unsigned long long linesAtATime = 50;

/// Lines with the clock as it is now.
std::string wrongLines(remembersink& sink, const std::wstring& year, outcome& found)
{
    sink.forget();
    std::this_thread::sleep_for(std::chrono::milliseconds(2)); // a millisecond shows for one
    traceLines(linesAtATime);
    trace::flush(20);
    const bool isDone = trace::sync(generousWait);
    const std::vector<std::wstring> lines = sink.lines();
    found.made += linesAtATime;
    found.lost += linesAtATime - lines.size();
    const bool areStamped = std::all_of(
        lines.begin(), lines.end(), [&](const std::wstring& line) { return hasStamp(line, year); });
    if (!isDone || lines.size() != linesAtATime) {
        return "lines are missing";
    }
    return areStamped ? "" : "a stamp of another time, or of another length";
}

/// How a clock is set, and what lines show then.
struct setting
{
    long long system;
    long long zone;
    const wchar_t* year;
    unsigned long long mostStarted; ///< files, by a rotation after a day
};

/// Sets the clock, and back.
std::string wrongAround(const setting& tested, outcome& found)
{
    const temporaryfolder folder;
    movedclock& clock = movedclock::inUse();
    const datedfiles& files = datedfiles::inUse(clock);
    const unsigned long long startedBefore = files.started();
    remembersink sink;
    const rotatingfilestracestream file(folder.file("trace.log").c_str(), 5, 1000, 1);
    const attached first(sink, tl_info);
    const attached second(file, tl_info);
    std::string wrong = wrongLines(sink, L"20", found);
    clock.set(tested.system, tested.zone);
    const std::string wrongThen = wrongLines(sink, tested.year, found);
    clock.set(0);
    const std::string wrongAfter = wrongLines(sink, L"20", found);
    wrong = wrong.empty() ? wrongThen : wrong;
    wrong = wrong.empty() ? wrongAfter : wrong;
    if (wrong.empty() && files.started() - startedBefore > tested.mostStarted) {
        wrong = std::to_string(files.started() - startedBefore) + " files were started";
    }
    return wrong;
}

outcome around(const setting& tested, unsigned long long times)
{
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        found.add(wrongAround(tested, found));
    }
    return found;
}

outcome anHourBack(unsigned long long times)
{
    return around({-hour, 0, L"20", 0}, times);
}

outcome endOfDaylightSaving(unsigned long long times)
{
    return around({0, -hour, L"20", 0}, times);
}

/// A day after its begin, so that no zone leads before it.
outcome year1970(unsigned long long times)
{
    return around({-static_cast<long long>(std::time(nullptr)) + 24 * hour, 0, L"1970", 0}, times);
}

outcome year2100(unsigned long long times)
{
    constexpr long long begin = 4102444800; // of that year, seconds since 1970
    return around(
        {begin + 100 * 24 * hour - static_cast<long long>(std::time(nullptr)), 0, L"2100", 1},
        times);
}

/// Takes a while for some lines, so that others wait for it.
void takeAWhile(unsigned long long number)
{
    if (number % 50 == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Calls something again and again.
/// \return how long the longest call took.
template <class action_t>
std::chrono::milliseconds longest(const std::atomic<bool>& goOn, const action_t& action)
{
    steady_clock::duration found{0};
    while (goOn) {
        const steady_clock::time_point start = steady_clock::now();
        action();
        found = std::max(found, steady_clock::now() - start);
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(found);
}

/// Far more than any of these calls waits on a busy machine, and less than what the clock jumps.
constexpr std::chrono::seconds longestCall{10};

outcome jumpsAmidWaits(unsigned long long times)
{
    outcome found;
    movedclock& clock = movedclock::inUse();
    const actingsink sink(1, takeAWhile);
    const actingsink passing(2);
    const attached attachment(sink, tl_info);
    const unsigned long long lostBefore = trace::lost();
    std::atomic<bool> goOn{true};
    std::atomic<unsigned long long> made{0};
    std::chrono::milliseconds took[4] = {};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        took[0] = longest(goOn, [&made] {
            traceLines(20);
            made += 20;
        });
    });
    threads.emplace_back([&] { took[1] = longest(goOn, [] { trace::flush(0); }); });
    threads.emplace_back([&] {
        took[2] = longest(goOn, [] {
            trace::flush(20);
            trace::sync(20);
        });
    });
    threads.emplace_back(
        [&] { took[3] = longest(goOn, [&passing] { const attached other(passing); }); });
    while (found.runs < times) {
        clock.set(found.runs % 2 == 0 ? -hour : 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        found.add("");
    }
    goOn = false;
    for (std::thread& thread : threads) {
        thread.join();
    }
    const bool isDone = trace::sync(generousWait);
    found.made = made;
    found.lost = made - sink.written();
    if (!isDone || *std::max_element(std::begin(took), std::end(took)) > longestCall) {
        found.broken = 1;
        found.remark = "somebody waited for too long";
    } else if (found.lost != trace::lost() - lostBefore) {
        found.broken = 1;
        found.remark = std::to_string(trace::lost() - lostBefore) + " lines were counted as lost";
    }
    return found;
}

} // namespace

group clockRows()
{
    const std::string promise = "A line has the time that the clock showed, in a stamp of 23 "
                                "characters; no file is started for it, no wait hangs.";
    return {
        "clocks",
        {
            {"clock-an-hour-back",
             {10, 500, 5, 100},
             "the clock is set back by an hour and forward again, amid lines for a file that is "
             "rotated after a day",
             promise,
             anHourBack},
            {"end-of-daylight-saving",
             {10, 500, 5, 100},
             "the zone's offset shrinks by an hour, and grows again",
             promise,
             endOfDaylightSaving},
            {"clock-to-1970",
             {10, 500, 5, 100},
             "the clock is set to 1970, and back",
             promise,
             year1970},
            {"clock-to-2100",
             {10, 500, 5, 100},
             "the clock is set to 2100, and back",
             "As with other times, but a file that is older than a day by then is rotated once.",
             year2100},
            {"clock-jumps-amid-waits",
             {200, 20000, 100, 2000},
             "the clock jumps by an hour, back or forward, every millisecond, while threads trace, "
             "flush, wait, attach and remove sinks",
             "No wait is longer for it; lines that are lost beside a sink that takes its time are "
             "counted.",
             jumpsAmidWaits},
        }};
}

} // namespace reliability
