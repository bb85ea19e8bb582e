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

StampTimes::StampTimes() noexcept
    : m_before{stamps::now(), Clock::current().utcNanoseconds()}, m_last(m_before)
{}

void StampTimes::mark(unsigned long long stamp) noexcept
{
    m_before = m_last;
    m_last = {stamp, Clock::current().utcNanoseconds()};
}

long long StampTimes::at(unsigned long long stamp) const noexcept
{
    const double stamps = difference(m_before.stamp, m_last.stamp);
    if (stamps <= 0) {
        return m_last.time;
    }
    const auto nanoseconds = static_cast<double>(m_last.time - m_before.time);
    return m_last.time -
           static_cast<long long>(difference(stamp, m_last.stamp) * (nanoseconds / stamps));
}

} // namespace tolvane
