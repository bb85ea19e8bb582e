#pragma once

#include "cart.h"
#include "money.h"

#include <vector>

namespace shop {

/// Serves its customers in a thread of its own.
class till
{
public:
    till(int number, std::vector<cart> customers);

    void serve();

    money taken() const { return m_taken; } ///< behind the end of the thread

private:
    int m_number;
    std::vector<cart> m_customers;
    money m_taken;
};

/// Has all tills serve their customers, at the same time.
money open(std::vector<till> tills);

} // namespace shop
