// What scripts/demo runs: three threads trace to the console and to a file, and each of the two
// sinks picks its lines.

#include <tolvane/tolvane.h>

#include <iostream>
#include <thread>
#include <vector>

namespace bank {

void pay(int customer, int amount)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "customer " << customer << " pays " << amount;
    TOLVANE_LOGF(log, tl_debug, "account %d, amount %d, booked", customer * 1111, amount);
}

} // namespace bank

namespace shop {

void pack(int customer)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "parcel for customer " << customer;
    TOLVANE_LOG(log, tl_debug) << "no sink wants to know this";
}

void order(int customer)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "customer " << customer << " orders";
    pack(customer);
    bank::pay(customer, customer * 10);
}

} // namespace shop

namespace {

void attachSinks()
{
    tracestream& console = trace::output(ostreamtracestream<char>(std::cout));
    console.setLevel(tl_info);

    tracestream& file = trace::output(filetracestream("demo.log"));
    file.setLevel(tl_error);         // little in general,
    file.setLevel(tl_debug, "bank"); // more from a namespace,
    file.setLevel(tl_trace,
                  "shop::order"); // and everything, entry and exit included, from one function
}

void serveCustomers()
{
    std::vector<std::thread> threads;
    for (int customer = 1; customer <= 3; ++customer) {
        threads.emplace_back(shop::order, customer);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

int main()
{
    attachSinks();
    serveCustomers();
    trace::sync(1000);
}
