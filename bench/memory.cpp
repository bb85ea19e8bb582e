/// How much memory a queued line holds. The allocator of this program counts.

#include "bench/idledispatcher.h"
#include "bench/measure.h"
#include "bench/sinks.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t headerSize = alignof(std::max_align_t); ///< in front of each block: its size

std::atomic<long long> bytesInUse{0};

} // namespace

void* operator new(std::size_t size)
{
    void* const block = std::malloc(headerSize + size);
    if (!block) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t*>(block) = size;
    bytesInUse += static_cast<long long>(size);
    return static_cast<char*>(block) + headerSize;
}

void operator delete(void* pointer) noexcept
{
    if (pointer) {
        void* const block = static_cast<char*>(pointer) - headerSize;
        bytesInUse -= static_cast<long long>(*static_cast<std::size_t*>(block));
        std::free(block);
    }
}

void operator delete(void* pointer, std::size_t) noexcept
{
    operator delete(pointer);
}

int main()
{
    constexpr int count = 900; // below the number where the dispatcher begins to prune

    bench::reportBuild();
    bench::idledispatcher dispatcher;
    dispatcher.output(forgetfulsink(1));
    const long long before = bytesInUse;
    dispatcher.queueLines(count);
    bench::report("queued line", static_cast<double>(bytesInUse - before) / count, "bytes");
}
