#include "till.h"

#include <tolvane/tolvane.h>

#include <iomanip>
#include <string>
#include <thread>
#include <utility>

namespace shop {

till::till(int number, std::vector<cart> customers)
    : m_number(number), m_customers(std::move(customers)), m_taken(0)
{}

void till::serve()
{
    trace::nameThread("till " + std::to_string(m_number));
    TOLVANE_SCOPE(log);
    int bill = 0;
    for (const cart& cart : m_customers) {
        TOLVANE_LOG(log, tl_info) << "bill " << std::setfill('0') << std::setw(4) << ++bill;
        m_taken = m_taken + cart.total();
    }
}

money open(std::vector<till> tills)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "tills: " << tills.size();
    std::vector<std::thread> threads;
    for (till& each : tills) {
        threads.emplace_back(&till::serve, &each);
    }
    for (std::thread& each : threads) {
        each.join();
    }
    money taken(0);
    for (const till& each : tills) {
        taken = taken + each.taken();
    }
    TOLVANE_LOG(log, tl_info) << "taken: " << taken;
    return taken;
}

} // namespace shop
