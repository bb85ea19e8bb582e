/// What a line costs the thread that writes it, in bursts.
///
/// Argument: the number of threads.

#include "bench/bursts.h"
#include "bench/peers/library.h"
#include "tests/helpers/temporaryfolder.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    constexpr int linesPerBurst = 500;
    const int threads = argc > 1 ? std::atoi(argv[1]) : 1;

    const temporaryfolder folder;
    const std::string file = folder.file("bench.log");
    bench::reportBuild();
    bench::openLog(file, bench::detail::lines);
    const bench::burstcosts costs = bench::runBursts(threads, linesPerBurst, bench::lines);
    bench::closeLog();
    bench::report("line from " + std::to_string(threads) + (threads == 1 ? " thread" : " threads"),
                  costs, bench::countLines(file) - bench::headerLines, costs.actions);
}
