// The smallest program: a traced function whose lines go to the console.
//
// TOLVANE_SCOPE makes the function known and opens its stream; TOLVANE_LOG writes a line at a
// level. With the level tl_trace the entry and the exit of the function are traced, too.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering " << articles << " articles";
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_trace);
    shop::order(3);
    trace::sync(1000);
}
