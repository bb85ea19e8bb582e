#pragma once

#include <iosfwd>

namespace shop {

class money
{
public:
    explicit money(int cents);

    money operator+(const money& other) const;

    int cents() const { return m_cents; }

private:
    int m_cents;
};

/// As for std::cout.
std::ostream& operator<<(std::ostream& stream, const money& amount);

} // namespace shop
