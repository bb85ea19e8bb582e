/// What it costs to make a record's text.

#include "bench/measure.h"

#include <tolvane/tolvane.h>

#include "sinks/timestamp.h"

#include <string>
#include <vector>

/// Renders a record where it is, as a pass of the writer does.
struct formattedlinetest
{
    static void retire(formattedline& line) { line.m_formatted.erase(tolvane::string::npos); }

    static const tolvane::string& rendered(const formattedline& line, timestamp& stamp)
    {
        return line.rendered(stamp);
    }
};

namespace {

constexpr std::size_t batchSize = 500; ///< records at a time, as a writer pass finds them
constexpr int batches = 200;
constexpr unsigned long long longEnough = 10000; ///< milliseconds of a flush's budget

template <class action_t>
double costOf(std::vector<formattedline>& records, action_t action)
{
    unsigned long long length = 0;
    const bench::clock::time_point start = bench::clock::now();
    for (const formattedline& record : records) {
        length += action(record);
    }
    return length != 0 ? bench::nanoseconds(start, bench::clock::now()) / batchSize : 0;
}

/// As a sink of an application's gets the text: a copy, of a record that has no memory for it yet.
double converted(const formattedline& line)
{
    std::vector<double> costs;
    for (int batch = 0; batch < batches; ++batch) {
        std::vector<formattedline> records(batchSize, line);
        costs.push_back(
            costOf(records, [](const auto& record) { return tolvane::string(record).length(); }));
    }
    return bench::quantile(costs, 0.5);
}

/// As the library's own sinks get it: in place, in a record that was used before.
double rendered(const formattedline& line)
{
    std::vector<formattedline> records(batchSize, line);
    std::vector<double> costs;
    for (int batch = 0; batch < batches; ++batch) {
        timestamp stamp;
        for (formattedline& record : records) {
            formattedlinetest::retire(record);
        }
        costs.push_back(costOf(records, [&stamp](const auto& record) {
            return formattedlinetest::rendered(record, stamp).length();
        }));
    }
    return bench::quantile(costs, 0.5);
}

/// A sink that measures with copies of the line that it is given.
class measuringsink : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        bench::report("record converted by a sink", converted(line), "ns");
        bench::report("record rendered", rendered(line), "ns");
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
