/// What a line costs the writer, with one file and with three.

#include "bench/idledispatcher.h"
#include "bench/measure.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <string>
#include <vector>

int main()
{
    constexpr int linesPerBatch = 500; // below the number where the dispatcher begins to prune
    constexpr int batches = 40;

    bench::reportBuild();
    for (const int sinks : {1, 3}) {
        const temporaryfolder folder;
        bench::idledispatcher dispatcher;
        for (int sink = 0; sink < sinks; ++sink) {
            const std::string file = folder.file(std::to_string(sink) + ".log");
            dispatcher.output(filetracestream(tolvane::string(file.c_str())));
        }
        std::vector<double> costs;
        for (int batch = 0; batch < batches; ++batch) {
            dispatcher.queueLines(linesPerBatch);
            const bench::clock::time_point start = bench::clock::now();
            dispatcher.flushQueue(0);
            costs.push_back(bench::nanoseconds(start, bench::clock::now()) / linesPerBatch);
        }
        bench::report("writer with " + std::to_string(sinks) + (sinks == 1 ? " file" : " files"),
                      bench::quantile(costs, 0.5), "ns",
                      bench::countLines(folder.file(std::to_string(sinks - 1) + ".log")),
                      linesPerBatch * batches);
    }
}
