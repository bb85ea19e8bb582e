/// What it costs to ask for the effective level of a function three names deep, as every scope
/// does.

#include "bench/measure.h"
#include "bench/sinks.h"

#include <tolvane/tolvane.h>

#include <string>

namespace {

/// Every sink has a setting at every depth, so that a search goes all the way down.
void attachSinks(unsigned int count)
{
    for (unsigned int id = 1; id <= count; ++id) {
        trace::output(forgetfulsink(id));
    }
    trace::setLevel(tl_error);
    trace::setLevel(tl_warning, "store");
    trace::setLevel(tl_info, "store::index");
    trace::setLevel(tl_verbose, "store::index::load");
}

void measure(unsigned int sinks)
{
    constexpr int count = 5000000;

    attachSinks(sinks);
    const hashedfunction& function =
        trace::registerfunction("void store::index::load(const std::string&)");
    int sum = 0;
    const bench::clock::time_point start = bench::clock::now();
    for (int number = 0; number < count; ++number) {
        sum += trace::level(function);
    }
    const double cost = bench::nanoseconds(start, bench::clock::now()) / count;
    if (sum == count * tl_verbose) {
        bench::report("level with " + std::to_string(sinks) + (sinks == 1 ? " sink" : " sinks"),
                      cost, "ns");
    }
}

} // namespace

int main()
{
    bench::reportBuild();
    measure(1);
    measure(4);
}
