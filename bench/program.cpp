/// What tracing costs a program: a store with three scopes and a line of information an operation,
/// beside the same store compiled without tracing.
///
/// They take turns, so that the machine's moods hit both alike. What the program itself pays is
/// measured, while the writer is at work beside it; that the writer comes to an end is waited for
/// after each turn.

#include "bench/measure.h"
#include "bench/peers/completion.h"
#include "bench/store.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <iostream>
#include <vector>

namespace {

constexpr std::size_t operationsPerTurn = 31 * bench::storeCycle; ///< 20 ms: two writer passes
constexpr int turns = 100;

using operate_t = std::size_t (*)(bench::storedata&, std::size_t);

/// One number for each turn.
struct costs
{
    std::vector<double> untraced; ///< nanoseconds for an operation
    std::vector<double> ratios;   ///< of the traced operation's cost to that
};

double turn(operate_t operate, bench::storedata& data)
{
    const bench::clock::time_point start = bench::clock::now();
    const std::size_t found = operate(data, operationsPerTurn);
    const double time = bench::nanoseconds(start, bench::clock::now());
    bench::waitForLines();
    if (found != operationsPerTurn / 4) { // one operation in four asks for what was just put
        std::cerr << "WARNING: the store does not find what it holds\n";
    }
    return time / static_cast<double>(operationsPerTurn);
}

/// Neighbouring turns are compared with each other: the machine was in the same mood.
costs takeTurns(bench::storedata& data)
{
    costs result;
    turn(bench::untraced::operate, data);
    turn(bench::traced::operate, data); // to warm up
    for (int number = 0; number < turns; ++number) {
        const bool isTracedFirst = number % 2 == 1; // no one gains by his place
        double traced = isTracedFirst ? turn(bench::traced::operate, data) : 0;
        const double untraced = turn(bench::untraced::operate, data);
        if (!isTracedFirst) {
            traced = turn(bench::traced::operate, data);
        }
        result.untraced.push_back(untraced);
        result.ratios.push_back(traced / untraced);
    }
    return result;
}

/// The first line, which starts the writer: without it there is nothing to wait for.
void begin()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "measuring";
    bench::waitForLines();
}

/// Measures one level of detail after the other, all into the same file.
class measurement
{
public:
    measurement(bench::storedata& data, const std::string& file)
        : m_data(data), m_file(file), m_written(bench::countLines(file))
    {}

    /// \return nanoseconds of an untraced operation.
    double run(const std::string& name, tracelevel_t level, std::size_t linesPerOperation)
    {
        trace::setLevel(level);
        const costs measured = takeTurns(m_data);
        const std::size_t writtenBefore = m_written;
        m_written = bench::countLines(m_file);
        const std::size_t written = m_written - writtenBefore;
        const std::size_t expected = (turns + 1) * operationsPerTurn * linesPerOperation;
        if (written > expected) {
            std::cerr << "WARNING: the program wrote more lines than it should\n";
        }
        bench::report("program, " + name, bench::quantile(measured.ratios, 0.5), "times", written,
                      expected);
        return bench::quantile(measured.untraced, 0.5);
    }

private:
    bench::storedata& m_data;
    const std::string m_file;
    std::size_t m_written;
};

} // namespace

int main()
{
    constexpr std::size_t everyLine =
        bench::storeLinesPerOperation + 2 * bench::storeScopesPerOperation;

    bench::reportBuild();
    const temporaryfolder folder;
    const std::string file = folder.file("bench.log");
    const filetracestream sink(tolvane::string(file.c_str()));
    trace::output(sink);

    begin();
    bench::storedata data;
    measurement measured(data, file);
    const double untraced = measured.run("quiet", tl_error, 0);
    measured.run("a line an operation", tl_info, bench::storeLinesPerOperation);
    measured.run("scopes and lines", tl_trace, everyLine);
    bench::report("operation without tracing", untraced, "ns");
    trace::remove(sink);
}
