#include "trace/linedrain.h"

#include "support/clock.h"

#include <algorithm>

linedrain::~linedrain()
{
    for (stage* const each : m_stages) {
        stage::release(each);
    }
}

void linedrain::add(stage* added)
{
    m_waiting.reserve(m_stages.size() + 1);
    m_stages.push_back(added);
}

std::size_t linedrain::pending() const noexcept
{
    std::size_t lines = 0;
    for (const stage* const each : m_stages) {
        lines += each->pending();
    }
    return lines;
}

/// Where stamps have gone back, they are made to go on behind the youngest line: stages do not let
/// theirs go back.
unsigned long long linedrain::stampOfNow() noexcept
{
    unsigned long long stamp = tolvane::stamps::nowBeforeReading();
    if (stamp < m_lastStamp) {
        for (const stage* const each : m_stages) {
            m_lastStamp = std::max(m_lastStamp, each->lastStamp());
        }
        tolvane::stamps::catchUp(m_lastStamp);
        stamp = tolvane::stamps::nowBeforeReading();
    }
    m_lastStamp = stamp;
    return stamp;
}

void linedrain::collect(unsigned long long upTo) noexcept
{
    m_waiting.clear(); // a thread may have ended within a run
    for (stage* const each : m_stages) {
        if (const stagedline* const line = each->oldest(upTo)) {
            m_waiting.push_back({line->stamp, each}); // there is room
        }
    }
    std::make_heap(m_waiting.begin(), m_waiting.end());
}

stage* linedrain::nextStage() noexcept
{
    std::pop_heap(m_waiting.begin(), m_waiting.end());
    stage* const from = m_waiting.back().from;
    m_waiting.pop_back();
    return from;
}

unsigned long long linedrain::oldestElsewhere(unsigned long long upTo) const noexcept
{
    return m_waiting.empty() ? upTo : m_waiting.front().stamp;
}

void linedrain::putBack(stage& from, unsigned long long stamp) noexcept
{
    m_waiting.push_back({stamp, &from}); // there is room
    std::push_heap(m_waiting.begin(), m_waiting.end());
}

long long linedrain::utcOf(const stagedline& line) const noexcept
{
    constexpr long long nanosecondsPerMillisecond = 1000000;
    const long long utc = tolvane::Clock::current().utcOf(line.time, m_times.at(line.stamp));
    return tolvane::stamps::areCycles() ? utc : utc - utc % nanosecondsPerMillisecond;
}

unsigned long long linedrain::takeRefused() noexcept
{
    unsigned long long refused = 0;
    for (stage* const each : m_stages) {
        refused += each->takeRefused();
    }
    return refused;
}

bool linedrain::hasDoubts() const noexcept
{
    return std::any_of(m_stages.begin(), m_stages.end(),
                       [](const stage* each) { return each->hasDoubts(); });
}

void linedrain::forgetDoubts() noexcept
{
    for (stage* const each : m_stages) {
        each->forgetDoubts();
    }
}

void linedrain::forgetAll(const stage* used) noexcept
{
    for (stage* const each : m_stages) {
        each->forget(each != used);
    }
}

/// Whether a thread has left is looked at before its lines are: none comes afterwards.
void linedrain::tidy() noexcept
{
    const auto isDone = [](stage* each) {
        const bool isLeft = each->isLeft();
        if (each->pending() != 0) {
            return false;
        }
        if (!isLeft || each->hasRefused() || each->hasDoubts()) {
            each->rest();
            return false;
        }
        stage::release(each);
        return true;
    };
    m_stages.erase(std::remove_if(m_stages.begin(), m_stages.end(), isDone), m_stages.end());
}
