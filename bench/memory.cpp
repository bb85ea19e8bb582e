/// How much memory a queued line holds.

#include "bench/allocations.h"
#include "bench/measure.h"
#include "bench/sinks.h"
#include "tests/helpers/gate.h"

#include <tolvane/tolvane.h>

namespace {

/// Holds up whoever writes the first line, so that the following lines stay queued.
class holdingsink : public forgetfulsink
{
public:
    holdingsink(gate& reached, gate& released)
        : forgetfulsink(1), m_reached(reached), m_released(released)
    {}

    void log(const formattedline&) override
    {
        m_reached.open();
        m_released.wait();
    }

    holdingsink* clone() const override { return new holdingsink(m_reached, m_released); }

private:
    gate& m_reached;
    gate& m_released;
};

void queueLines(int count)
{
    TOLVANE_SCOPE(log);
    for (int number = 0; number < count; ++number) {
        TOLVANE_LOG(log, tl_always) << "loaded item " << number;
    }
}

} // namespace

int main()
{
    constexpr int count = 900; // below the number where the dispatcher begins to prune

    bench::reportBuild();
    gate reached;
    gate released;
    const holdingsink sink(reached, released);
    trace::output(sink);
    queueLines(1);
    reached.wait();
    const long long before = bench::bytesInUse();
    queueLines(count);
    bench::report("queued line", static_cast<double>(bench::bytesInUse() - before) / count,
                  "bytes");
    released.open();
    trace::remove(sink);
}
