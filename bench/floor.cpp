/// What scopes and lines are measured against: the standard library's part of a stream that nobody
/// writes to, which no scope can cost less than, and its clock and lock, which a record could take.

#include "bench/measure.h"

#include <atomic>
#include <chrono>
#include <istream>
#include <mutex>
#include <ostream>
#include <streambuf>

namespace {

constexpr int warmUp = 100000;
constexpr int count = 5000000;

class buffer : public std::wstreambuf
{};

/// A stream and its buffer, begun and not made ready for use.
class barestream : public std::wostream, private std::wstreambuf
{
public:
    explicit barestream(const buffer& copied)
        : std::wostream(reinterpret_cast<std::wiostream&>(*this)), // does not look at it
          std::wstreambuf(copied)
    {}
};

template <class action_t>
void measure(const char* name, action_t action)
{
    const auto repeat = [&action](int times) {
        for (int i = 0; i < times; ++i) {
            action();
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
    };
    repeat(warmUp);
    const bench::clock::time_point start = bench::clock::now();
    repeat(count);
    bench::report(name, bench::nanoseconds(start, bench::clock::now()) / count, "ns");
}

} // namespace

int main()
{
    bench::reportBuild();
    const buffer empty;
    measure("floor: a bare stream", [&empty] { const barestream stream(empty); });

    std::recursive_mutex mutex;
    std::chrono::system_clock::time_point time;
    measure("standard clock and lock", [&mutex, &time] {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        time = std::chrono::system_clock::now();
    });
}
