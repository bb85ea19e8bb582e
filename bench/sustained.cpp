/// How many lines a second reach the file when threads write without pause, from the first line's
/// beginning to the last byte, and how many do not reach it.
///
/// Arguments: the number of lines, and of threads that share them.

#include "bench/measure.h"
#include "bench/peers/library.h"
#include "tests/helpers/temporaryfolder.h"

#include <cstdlib>
#include <iostream>
#include <thread>
#include <vector>

namespace {

/// The first threads write a line more each when the lines cannot be shared equally.
void writeLines(int count, int producers)
{
    std::vector<std::thread> running;
    for (int producer = 0; producer < producers; ++producer) {
        const int share = count / producers + (producer < count % producers ? 1 : 0);
        running.emplace_back(bench::lines, share, nullptr);
    }
    for (std::thread& thread : running) {
        thread.join();
    }
}

std::string question(int count, int producers)
{
    const std::string name = std::to_string(count) + " lines";
    return producers == 1 ? name : name + ", " + std::to_string(producers) + " producers";
}

} // namespace

int main(int argc, char** argv)
{
    const int count = argc > 1 ? std::atoi(argv[1]) : 300000;
    const int producers = argc > 2 ? std::atoi(argv[2]) : 1;

    const temporaryfolder folder;
    const std::string file = folder.file("bench.log");
    bench::reportBuild();
    bench::openLog(file, bench::detail::lines);
    const bench::clock::time_point start = bench::clock::now();
    writeLines(count, producers);
    bench::closeLog();
    const double seconds = bench::nanoseconds(start, bench::clock::now()) / 1e9;
    const std::size_t written = bench::countLines(file) - bench::headerLines;
    bench::report(question(count, producers), static_cast<double>(written) / seconds, "lines/s",
                  written, static_cast<std::size_t>(count));
    if (const auto counted = bench::countedAsLost()) {
        std::cout << "# counted as lost: " << *counted << std::endl;
    }
}
