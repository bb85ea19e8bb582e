// Tracing that the program's user turns on: nothing is attached unless a variable of the
// environment says so.
//
//     TOLVANE='*=info, shop=trace > file:shop.log; *=error' shop
//
// A program that is shipped has no more than the one call in main. This one sets the variable
// itself, so that there is something to see.

#include <tolvane/tolvane.h>

#include <cstdlib>
#include <iostream>

namespace shop {

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering " << articles << " articles";
    if (articles > 10) {
        TOLVANE_LOG(log, tl_error) << "there are no more than 10";
    }
}

} // namespace shop

namespace {

void setVariable(const char* name, const char* value)
{
#if defined(_WIN32)
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

} // namespace

int main()
{
    setVariable("TOLVANE", "*=info, shop=trace > file:shop.log; *=error > stdout");

    if (!trace::outputFromEnvironment()) {
        return 1;
    }
    shop::order(3);
    shop::order(12);
    trace::sync(1000);

    setVariable("TOLVANE", "*=loud > stdout");
    const bool isFine = trace::outputFromEnvironment(); // attaches nothing, and says why
    std::cout << (isFine ? "fine" : "malformed") << std::endl;
}
