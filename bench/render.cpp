/// What it costs to make a record's text.

#include "bench/measure.h"

#include <tolvane/tolvane.h>

#include <string>
#include <vector>

/// Renders a record where it is, as the library's own sinks use it.
struct formattedlinetest
{
    static const tolvane::string& rendered(const formattedline& line) { return line.rendered(); }
};

namespace {

constexpr std::size_t batchSize = 500; ///< records at a time, as a writer pass finds them
constexpr int batches = 200;
constexpr unsigned long long longEnough = 10000; ///< milliseconds of a flush's budget

template <class action_t>
double medianCost(const formattedline& line, action_t action)
{
    std::vector<double> costs;
    for (int batch = 0; batch < batches; ++batch) {
        const std::vector<formattedline> records(batchSize, line);
        std::size_t length = 0;
        const bench::clock::time_point start = bench::clock::now();
        for (const formattedline& record : records) {
            length += action(record);
        }
        const double cost = bench::nanoseconds(start, bench::clock::now()) / batchSize;
        if (length != 0) {
            costs.push_back(cost);
        }
    }
    return bench::quantile(costs, 0.5);
}

/// A sink that measures with copies of the line that it is given.
class measuringsink : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        bench::report(
            "record converted by a sink",
            medianCost(line, [](const auto& record) { return tolvane::string(record).length(); }),
            "ns");
        bench::report("record rendered",
                      medianCost(line,
                                 [](const auto& record) {
                                     return formattedlinetest::rendered(record).length();
                                 }),
                      "ns");
    }

    unsigned long long id() const override { return 1; }
    measuringsink* clone() const override { return new measuringsink; }
};

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "loaded item " << 12345;
}

} // namespace

int main()
{
    bench::reportBuild();
    const measuringsink sink;
    trace::output(sink);
    work();
    trace::flush(longEnough);
    trace::remove(sink);
}
