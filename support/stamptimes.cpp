#include "support/stamptimes.h"

#include "support/clock.h"
#include "support/stamps.h"

namespace tolvane {

namespace {

/// Stamps may have gone back.
double difference(unsigned long long from, unsigned long long to) noexcept
{
    return static_cast<double>(static_cast<long long>(to - from));
}

} // namespace

StampTimes::StampTimes() noexcept : m_last{stamps::now(), Clock::current().utcNanoseconds()} {}

void StampTimes::mark(unsigned long long stamp) noexcept
{
    const reading before = m_last;
    m_last = {stamp, Clock::current().utcNanoseconds()};
    const double stamps = difference(before.stamp, m_last.stamp);
    m_pace = stamps > 0 ? static_cast<double>(m_last.time - before.time) / stamps : 0;
}

long long StampTimes::at(unsigned long long stamp) const noexcept
{
    return m_last.time - static_cast<long long>(difference(stamp, m_last.stamp) * m_pace);
}

} // namespace tolvane
