#include "bench/bursts.h"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <thread>

namespace bench {

namespace {

constexpr int burstCount = 50; ///< a second in all
constexpr auto burstInterval = std::chrono::milliseconds(20);

/// What one thread has measured.
struct sample
{
    std::vector<double> each;  ///< nanoseconds of each action
    std::vector<double> means; ///< nanoseconds for one action, of each burst
};

void runBurst(std::vector<clock::time_point>& stamps, const timedaction& action, sample& result)
{
    // the notes' own memory is to be at hand: it is no library's business
    std::fill(stamps.begin(), stamps.end(), clock::time_point());
    const clock::time_point start = clock::now();
    action(static_cast<int>(stamps.size()), stamps.data());
    clock::time_point previous = start;
    for (const clock::time_point stamp : stamps) {
        result.each.push_back(nanoseconds(previous, stamp));
        previous = stamp;
    }
    result.means.push_back(nanoseconds(start, previous) / static_cast<double>(stamps.size()));
}

/// The first burst only warms up: it is forgotten.
sample runThread(int actionsPerBurst, const timedaction& action, std::atomic<int>& missing)
{
    std::vector<clock::time_point> stamps(static_cast<std::size_t>(actionsPerBurst));
    sample result;
    result.each.reserve(stamps.size() * burstCount);
    runBurst(stamps, action, result);
    result.each.clear();
    result.means.clear();

    --missing;
    while (missing > 0) {
        std::this_thread::yield();
    }
    clock::time_point next = clock::now();
    for (int burst = 0; burst < burstCount; ++burst) {
        next += burstInterval;
        std::this_thread::sleep_until(next);
        runBurst(stamps, action, result);
    }
    return result;
}

} // namespace

burstcosts runBursts(int threads, int actionsPerBurst, const timedaction& action)
{
    std::vector<sample> samples(static_cast<std::size_t>(threads));
    std::vector<std::thread> running;
    std::atomic<int> missing{threads};
    for (sample& result : samples) {
        running.emplace_back([&] { result = runThread(actionsPerBurst, action, missing); });
    }
    for (std::thread& thread : running) {
        thread.join();
    }

    sample all;
    for (const sample& part : samples) {
        all.each.insert(all.each.end(), part.each.begin(), part.each.end());
        all.means.insert(all.means.end(), part.means.begin(), part.means.end());
    }
    const double clockItself = clockCost();
    const double mean = std::accumulate(all.means.begin(), all.means.end(), 0.0) /
                        static_cast<double>(all.means.size());
    return {std::max(0.0, quantile(all.each, 0.5) - clockItself),
            std::max(0.0, quantile(all.each, 0.99) - clockItself), mean - clockItself,
            static_cast<std::size_t>(threads * actionsPerBurst * (burstCount + 1))};
}

void report(const std::string& name, const burstcosts& costs, std::size_t written, std::size_t sent)
{
    report(name + ", mean", costs.mean, "ns", written, sent);
    report(name + ", p50", costs.median, "ns", written, sent);
    report(name + ", p99", costs.p99, "ns", written, sent);
}

} // namespace bench
