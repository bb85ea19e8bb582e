// A program that leaves main in several ways and loses no line: a FlushGuard writes what waits,
// also on Windows, where the library's own thread is gone by the time that the process ends.

#include <tolvane/tolvane.h>

#include <iostream>
#include <stdexcept>

namespace shop {

void open(int articles)
{
    TOLVANE_SCOPE(log);
    if (articles == 0) {
        TOLVANE_LOG(log, tl_error) << "nothing to sell";
        throw std::runtime_error("empty");
    }
    TOLVANE_LOG(log, tl_info) << "selling " << articles << " articles";
}

int run()
{
    const tolvane::FlushGuard guard; // main's, in a program without a handler around it
    trace::output(ostreamtracestream<char>(std::cout)).setLevel(tl_info);
    shop::open(3);
    shop::open(0);
    return 0;
}

} // namespace shop

int main()
{
    try {
        return shop::run();
    } catch (const std::exception&) {
        return 0; // everything is written by now
    }
}
