#include <tolvane/tolvane.h>

#include <exception>
#include <iostream>

namespace consumer {

void work(int number)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << number << " from an installed package";
}

/// A fault within the try block itself, which the compiler must have been told to expect.
void measure(const volatile int* gauge)
{
    TOLVANE_SCOPE(log);
    try {
        const int height = *gauge;
        TOLVANE_LOG(log, tl_info) << height;
    } catch (const std::exception& fault) {
        TOLVANE_LOG(log, tl_warning) << fault.what();
    }
}

} // namespace consumer

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    consumer::work(42);
    consumer::measure(nullptr);
    trace::sync(10000);
}
