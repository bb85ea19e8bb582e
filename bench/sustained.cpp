/// How many lines a second reach the file when one thread writes without pause, from the first
/// line's beginning to the last byte, and how many do not reach it.
///
/// Argument: the number of lines.

#include "bench/measure.h"
#include "bench/peers/library.h"
#include "tests/helpers/temporaryfolder.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    const int count = argc > 1 ? std::atoi(argv[1]) : 300000;

    const temporaryfolder folder;
    const std::string file = folder.file("bench.log");
    bench::reportBuild();
    bench::openLog(file, bench::detail::lines);
    const bench::clock::time_point start = bench::clock::now();
    bench::lines(count, nullptr);
    bench::closeLog();
    const double seconds = bench::nanoseconds(start, bench::clock::now()) / 1e9;
    const std::size_t written = bench::countLines(file) - bench::headerLines;
    bench::report(std::to_string(count) + " lines", static_cast<double>(written) / seconds,
                  "lines/s", written, static_cast<std::size_t>(count));
}
