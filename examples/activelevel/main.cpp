// Statements that are not in the program: above TOLVANE_ACTIVE_LEVEL they compile to nothing,
// whatever the sinks take. Entry and exit lines stay.
//
// A source file defines it before it includes the first of the library's headers; a compiler's
// command line (-DTOLVANE_ACTIVE_LEVEL=tl_info) does so for all files.

#define TOLVANE_ACTIVE_LEVEL tl_info

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

int count = 0;

int counted()
{
    return ++count;
}

void order()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_debug) << "never, " << counted();
    TOLVANE_LOGF(log, tl_verbose, "never, %d", counted());
    TOLVANE_HERE(tl_debug) << "never, " << counted();
    TOLVANE_LOG(log, tl_info) << "counted: " << counted();
    TOLVANE_LOG(log, tl_error) << "no chairs";
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_trace);
    shop::order();
    trace::sync(1000);
}
