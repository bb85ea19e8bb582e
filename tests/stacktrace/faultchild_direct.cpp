#include "tests/stacktrace/faultchild.h"

#include <exception>

// Compiled with -fnon-call-exceptions, without which a compiler sees no throw in these blocks.

namespace {

volatile int zero = 0;
volatile int* volatile nowhere = nullptr;

struct Counter
{
    explicit Counter(volatile int& target) : count(target) {}
    ~Counter() { count = count + 1; }
    volatile int& count;
};

void readInTry(const std::string&)
{
    volatile int destroyed = 0;
    int value = 7;
    try {
        const Counter counter(destroyed);
        value = *nowhere;
    } catch (const std::exception&) {
        sayWhether(destroyed == 1 && value == 7, "read");
    }
}

void divideInTry(const std::string&)
{
    volatile int destroyed = 0;
    volatile int value = 7;
    try {
        const Counter counter(destroyed);
        value = 100 / zero;
    } catch (const std::exception&) {
        sayWhether(destroyed == 1 && value == 7, "divide");
    }
}

} // namespace

faultcases directFaultCases()
{
    return {{"direct-read", readInTry}, {"direct-divide", divideInTry}};
}
