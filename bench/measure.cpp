#include "bench/measure.h"

#include <algorithm>
#include <fstream>
#include <iostream>

namespace bench {

double clockCost()
{
    constexpr int readings = 1000; // a moment short enough to be seldom interrupted
    constexpr int moments = 200;
    std::vector<double> costs;
    for (int moment = 0; moment < moments; ++moment) {
        const clock::time_point start = clock::now();
        clock::time_point last = start;
        for (int reading = 0; reading < readings; ++reading) {
            last = clock::now();
        }
        costs.push_back(nanoseconds(start, last) / readings);
    }
    return quantile(costs, 0.5);
}

double quantile(std::vector<double> values, double share)
{
    if (values.empty()) {
        return 0;
    }
    const double last = static_cast<double>(values.size() - 1);
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(last * share);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

std::size_t countLines(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::vector<char> chunk(1 << 20); // large enough for the reading to cost nothing
    std::size_t lines = 0;
    while (stream.read(chunk.data(), static_cast<std::streamsize>(chunk.size())) ||
           stream.gcount() > 0) {
        lines += static_cast<std::size_t>(
            std::count(chunk.begin(), chunk.begin() + stream.gcount(), '\n'));
    }
    return lines;
}

void report(const std::string& name, double value, const std::string& unit)
{
    std::cout << name << '\t' << value << '\t' << unit << std::endl;
}

void report(const std::string& name, double value, const std::string& unit, std::size_t written,
            std::size_t sent)
{
    std::cout << name << '\t' << value << '\t' << unit << '\t' << written << '\t'
              << sent - std::min(sent, written) << std::endl;
}

void reportBuild()
{
    const std::string flags = TOLVANE_BENCH_FLAGS;
    std::cout << "# " << TOLVANE_BENCH_COMPILER << ", " << flags << std::endl;
    const auto has = [&flags](const char* text) { return flags.find(text) != std::string::npos; };
    if (!(has("-O2") || has("-O3") || has("/O2")) || !(has("-DNDEBUG") || has("/DNDEBUG")) ||
        has("sanitize")) {
        std::cerr << "WARNING: built unoptimised, with assertions or with a sanitizer; the figures "
                     "mean nothing\n";
    }
}

} // namespace bench
