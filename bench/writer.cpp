/// What a line costs the writer, with one file and with three.

#include "bench/measure.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int linesPerBatch = 500; ///< below the number where the dispatcher begins to prune
constexpr int batches = 40;

void queueLines()
{
    TOLVANE_SCOPE(log);
    for (int number = 0; number < linesPerBatch; ++number) {
        TOLVANE_LOG(log, tl_always) << "loaded item " << number;
    }
}

/// Nanoseconds for a line. Now and then the writer thread is quicker and leaves nothing to do, or
/// makes this thread wait: the median does not know it.
double costOfALine()
{
    std::vector<double> costs;
    for (int batch = 0; batch < batches; ++batch) {
        queueLines();
        const bench::clock::time_point start = bench::clock::now();
        trace::flush(0);
        costs.push_back(bench::nanoseconds(start, bench::clock::now()) / linesPerBatch);
    }
    return bench::quantile(costs, 0.5);
}

void measure(int count)
{
    const temporaryfolder folder;
    std::vector<std::unique_ptr<filetracestream>> sinks;
    for (int number = 0; number < count; ++number) {
        const std::string file = folder.file(std::to_string(number) + ".log");
        sinks.push_back(std::make_unique<filetracestream>(tolvane::string(file.c_str())));
        trace::output(*sinks.back());
    }
    const double cost = costOfALine();
    for (const auto& sink : sinks) {
        trace::remove(*sink);
    }
    bench::report("writer with " + std::to_string(count) + (count == 1 ? " file" : " files"), cost,
                  "ns", bench::countLines(folder.file(std::to_string(count - 1) + ".log")),
                  linesPerBatch * batches);
}

} // namespace

int main()
{
    bench::reportBuild();
    measure(1);
    measure(3);
}
