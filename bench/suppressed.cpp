/// What a line costs that nobody wants to read.

#include "bench/measure.h"
#include "bench/peers/library.h"
#include "tests/helpers/temporaryfolder.h"

int main()
{
    constexpr int warmUp = 1000000;
    constexpr int count = 50000000;

    const temporaryfolder folder;
    bench::reportBuild();
    bench::openLog(folder.file("bench.log"), bench::detail::lines);
    bench::suppressedLines(warmUp);
    const bench::clock::time_point start = bench::clock::now();
    bench::suppressedLines(count);
    bench::report("suppressed line", bench::nanoseconds(start, bench::clock::now()) / count, "ns");
    bench::closeLog();
}
