/// What entering and leaving a function costs, with tracing off and on.
///
/// Argument: off or on.

#include "bench/bursts.h"
#include "bench/peers/library.h"
#include "tests/helpers/temporaryfolder.h"

#include <cstring>

namespace {

void measureOff(const std::string& file)
{
    constexpr int warmUp = 100000;
    constexpr int count = 5000000;

    bench::openLog(file, bench::detail::lines);
    bench::scopes(warmUp, nullptr);
    const bench::clock::time_point start = bench::clock::now();
    bench::scopes(count, nullptr);
    bench::report("scope off", bench::nanoseconds(start, bench::clock::now()) / count, "ns");
    bench::closeLog();
}

void measureOn(const std::string& file)
{
    constexpr int linesPerScope = 2;
    constexpr int scopesPerBurst = 250; // as many lines as in the bursts of lines

    bench::openLog(file, bench::detail::scopes);
    const bench::burstcosts costs = bench::runBursts(1, scopesPerBurst, bench::scopes);
    bench::closeLog();
    bench::report("scope on", costs, bench::countLines(file) - bench::headerLines,
                  linesPerScope * costs.actions);
}

} // namespace

int main(int argc, char** argv)
{
    const bool on = argc > 1 && std::strcmp(argv[1], "on") == 0;
    const temporaryfolder folder;
    bench::reportBuild();
    (on ? measureOn : measureOff)(folder.file("bench.log"));
}
