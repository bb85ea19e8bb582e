/// What scopes and lines are measured against: the standard library's clock and lock, read and
/// taken once, which is how a record would usually be made.

#include "bench/measure.h"

#include <atomic>
#include <chrono>
#include <mutex>

namespace {

template <class action_t>
void repeat(int times, action_t action)
{
    for (int i = 0; i < times; ++i) {
        action();
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
}

} // namespace

int main()
{
    constexpr int warmUp = 100000;
    constexpr int count = 5000000;

    bench::reportBuild();
    std::recursive_mutex mutex;
    std::chrono::system_clock::time_point time;
    const auto action = [&mutex, &time] {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        time = std::chrono::system_clock::now();
    };
    repeat(warmUp, action);
    const bench::clock::time_point start = bench::clock::now();
    repeat(count, action);
    bench::report("standard clock and lock", bench::nanoseconds(start, bench::clock::now()) / count,
                  "ns");
}
