#include "money.h"

#include <tolvane/tolvane.h>

#include <iomanip>
#include <ostream>

namespace shop {

money::money(int cents) : m_cents(cents)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG_IF(log, tl_warning, cents < 0) << cents << " cents are less than nothing";
}

money money::operator+(const money& other) const
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_debug) << *this << " and " << other;
    return money(m_cents + other.m_cents);
}

std::ostream& operator<<(std::ostream& stream, const money& amount)
{
    return stream << amount.cents() / 100 << '.' << std::setfill('0') << std::setw(2)
                  << amount.cents() % 100;
}

} // namespace shop
