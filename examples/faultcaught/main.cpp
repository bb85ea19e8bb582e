// A fault that is caught: what the processor refuses comes as an exception derived from
// std::exception, with a text that says what it was. Link tolvane::noncall_exceptions, so that the
// compiler expects exceptions from plain instructions, too.

#include <tolvane/tolvane.h>

#include <exception>
#include <iostream>
#include <thread>

namespace gauge {

int read(const volatile int* position)
{
    TOLVANE_SCOPE(log);
    return *position;
}

int ratio(volatile int part, volatile int whole)
{
    TOLVANE_SCOPE(log);
    return part / whole;
}

} // namespace gauge

namespace {

template <class function_t>
void attempt(const char* what, const function_t& function)
{
    try {
        function();
    } catch (const std::exception& fault) {
        std::cout << what << ": " << fault.what() << '\n';
    }
}

} // namespace

int main()
{
    attempt("reading nowhere", [] { gauge::read(nullptr); });
    attempt("dividing by zero", [] { gauge::ratio(1, 0); });
    std::thread([] {
        stacktrace::installHandlers(); // some of the handlers belong to a thread
        attempt("on another thread", [] { gauge::read(nullptr); });
    }).join();
    std::cout << "still running\n";
}
